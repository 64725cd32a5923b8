# In an installed document, links to what is not installed become their texts. The manual pages are
# found by their names.
s/\[([^][]*)\]\((\.\.\/)?(companion\/[^)]*|CONTRIBUTING\.md|LICENSE|(docs\/)?(man\/[^)]*|example-qvxpd\.xml|(design|limits-programmers|performance)\.md)[^)]*)\)/\1/g
