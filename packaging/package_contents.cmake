# CPack runs this in front of packing. It adds a list of what the package is made of, in the form of
# SPDX 2.3: its files, and the libraries that were built in or linked.
set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY})
set(list ${root}/usr/share/doc/${CPACK_PACKAGE_NAME}/${CPACK_PACKAGE_NAME}.spdx.json)
set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(architecture ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
if(NOT architecture)
  execute_process(COMMAND dpkg --print-architecture OUTPUT_VARIABLE architecture
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endif()
set(files "")
set(packages "")
set(relations [[
    {"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
     "relatedSpdxElement": "SPDXRef-Package"}]])

# add_relation(TYPE ELEMENT): of the package to the element.
macro(add_relation type element)
  string(APPEND relations ",
    {\"spdxElementId\": \"SPDXRef-Package\", \"relationshipType\": \"${type}\",
     \"relatedSpdxElement\": \"${element}\"}")
endmacro()

# Without the list itself, which cannot hold its own sum. The names come in the order of their bytes.
file(REMOVE ${list})
file(GLOB_RECURSE names RELATIVE ${root} ${root}/*)
set(number 0)
foreach(name IN LISTS names)
  math(EXPR number "${number} + 1")
  file(SHA1 ${root}/${name} sha1)
  file(SHA256 ${root}/${name} sha256)
  list(APPEND sums ${sha1})
  string(APPEND files "
    {\"SPDXID\": \"SPDXRef-File-${number}\", \"fileName\": \"./${name}\", \"checksums\": [
      {\"algorithm\": \"SHA1\", \"checksumValue\": \"${sha1}\"},
      {\"algorithm\": \"SHA256\", \"checksumValue\": \"${sha256}\"}]},")
  add_relation(CONTAINS SPDXRef-File-${number})
endforeach()
string(REGEX REPLACE ",$" "" files "${files}")
list(SORT sums)
list(JOIN sums "" sums)
string(SHA1 code "${sums}")

# add_library(RELATION PACKAGE): the Debian package that a library was taken from.
function(add_library relation package)
  execute_process(COMMAND dpkg-query -W -f "\${Version};\${Architecture}\n" ${package}
    OUTPUT_VARIABLE installed COMMAND_ERROR_IS_FATAL ANY)
  if(NOT installed MATCHES "([^\n]+);(${architecture}|all)\n")
    message(FATAL_ERROR "${package} is not installed for ${architecture}")
  endif()
  set(library_version ${CMAKE_MATCH_1})
  set(library_architecture ${CMAKE_MATCH_2})
  string(REPLACE "+" "%2B" locator "pkg:deb/debian/${package}@${library_version}")
  string(REGEX REPLACE "([^g]):" "\\1%3A" locator "${locator}")
  string(REGEX REPLACE "[^A-Za-z0-9.-]" "-" id "SPDXRef-Library-${package}")
  string(APPEND packages ",
    {\"SPDXID\": \"${id}\", \"name\": \"${package}\", \"versionInfo\": \"${library_version}\",
     \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false, \"externalRefs\": [
      {\"referenceCategory\": \"PACKAGE-MANAGER\", \"referenceType\": \"purl\",
       \"referenceLocator\": \"${locator}?arch=${library_architecture}\"}]}")
  add_relation(${relation} ${id})
  set(packages "${packages}" PARENT_SCOPE)
  set(relations "${relations}" PARENT_SCOPE)
endfunction()

foreach(package IN LISTS CPACK_QVX_LINKED)
  add_library(DYNAMIC_LINK ${package})
endforeach()
execute_process(COMMAND dpkg-query -S ${CPACK_QVX_LANGUAGE_LIBRARY}
  OUTPUT_VARIABLE language COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE ":.*" "" language "${language}")
foreach(package IN LISTS CPACK_QVX_BUILT_IN language)
  add_library(STATIC_LINK ${package})
endforeach()

# SOURCE_DATE_EPOCH is this time.
string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC)
file(WRITE ${list} "{
  \"spdxVersion\": \"SPDX-2.3\", \"dataLicense\": \"CC0-1.0\", \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"${CPACK_PACKAGE_NAME}_${version}_${architecture}\",
  \"documentNamespace\":
    \"https://qvxlauncher.invalid/spdx/${version}/${architecture}/${code}\",
  \"creationInfo\": {\"created\": \"${created}\", \"creators\": [\"Tool: CMake-${CMAKE_VERSION}\"]},
  \"packages\": [
    {\"SPDXID\": \"SPDXRef-Package\", \"name\": \"${CPACK_PACKAGE_NAME}\",
     \"versionInfo\": \"${version}\", \"downloadLocation\": \"NOASSERTION\",
     \"licenseConcluded\": \"Apache-2.0\", \"licenseDeclared\": \"Apache-2.0\",
     \"copyrightText\": \"2026 the qvxlauncher maintainers\", \"filesAnalyzed\": true,
     \"packageVerificationCode\": {\"packageVerificationCodeValue\": \"${code}\",
      \"packageVerificationCodeExcludedFiles\":
       [\"./usr/share/doc/${CPACK_PACKAGE_NAME}/${CPACK_PACKAGE_NAME}.spdx.json\"]}}${packages}],
  \"files\": [${files}],
  \"relationships\": [
${relations}]
}
")
file(CHMOD ${list} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
