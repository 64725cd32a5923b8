"""The page docs/performance.md and its four plots, from the figures of a run."""
import pathlib
import re

import measure
import tables

TEMPLATE = pathlib.Path(__file__).parent.parent / 'docs' / 'performance.in.md'
PEERS = {'libxml2': 'libxml2', 'pugixml': 'pugixml', 'tinyxml2': 'tinyxml2', 'xerces': 'Xerces-C'}
# Times are shown in milliseconds, memory in mebibytes.
FACTORS = {'seconds': 1e3, 'cold': 1e3, 'peak': 1 / (1 << 20)}
# Of a plot's series, in their order: colours that everybody can tell apart, and shapes.
STYLES = (('#000000', 7), ('#0072b2', 5), ('#d55e00', 9), ('#009e73', 13), ('#cc79a7', 11),
          ('#000000', 6), ('#56b4e9', 4), ('#e69f00', 8), ('#808080', 12))

# What the page shows, in this order and in these words.
STARTS = {
    'start/steady': 'a start, {:,} addresses',
    'start/first': 'a first start, {:,} addresses',
    'start/reconfigure': 'a reconfigure run, {:,} addresses'}
LOADS = {
    'load/default': 'the default settings',
    'load/settings': '{:,} settings, an element each',
    'load/children': '{:,} elements with an attribute and a text',
    'load/attributes': '{:,} elements with five attributes',
    'load/deep': '{:,} chains of 490 nested elements',
    'load/lines': '{:,} lines of one text',
    'load/references': '{:,} texts with 20 predefined entities each',
    'load/entities': '{:,} texts with 20 declared entities each',
    'load/mixed': '{:,} groups of all kinds of nodes'}
CHANGES = {
    'change/append': 'append an element',
    'change/insert-before': 'insert one before it',
    'change/replace': 'replace it, and destroy it',
    'change/remove': 'remove it, and destroy it',
    'change/set-attribute': 'set its attribute',
    'change/add-attribute': 'give it another attribute',
    'change/set-text': 'set its text',
    'change/clone': 'clone it with its parent'}
OTHERS = {
    'read/first-by-name': 'find the middle one of {:,} settings by its name',
    'read/all-by-name': 'find {:,} elements by their name',
    'read/by-index': 'visit {:,} elements by index',
    'read/attribute-by-name': 'read an attribute of {:,} elements',
    'save/children': 'save {:,} elements with an attribute and a text',
    'free/children': 'free {:,} elements with an attribute and a text',
    'generate/addresses': 'generate the configuration for {:,} addresses',
    'restrict/widest': 'cut {:,} ranges of four thousand million addresses into blocks',
    'restrict/apart': 'cut {:,} ranges of 32,766 addresses into blocks',
    'addresses/parse': 'read {:,} addresses from the interface command',
    'addresses/select': 'select {:,} addresses by a binding list as long',
    'log/records': 'log {:,} records',
    'certificate/check': 'check a certificate with its key',
    'certificate/first': 'make a certificate with its key'}
GROWTHS = {
    'load/children': 'load elements',
    'change/append': 'append elements',
    'change/append, heard': 'append elements, heard',
    'read/all-by-name': 'find elements by name',
    'growth/attributes': 'give one element attributes',
    'addresses/parse': 'read addresses',
    'generate/addresses': 'generate for addresses',
    'restrict/apart': 'cut ranges into blocks',
    'log/records': 'log records'}


def rows_of(found, words, count=1):
    """The words, the size and the contenders' costs of each input at its largest sizes."""
    for name, text in words.items():
        subject, what = name.split('/')
        sizes = tables.inputs_of(found, subject).get(what, {})
        for size in sorted(sizes)[-count:]:
            yield text.format(size), size, sizes[size]


def value_of(costs, contender, field):
    value = costs.get(contender, {}).get(field)
    return None if value is None else value * FACTORS.get(field, 1)


def ratio(costs, contender, base, field):
    value, floor = (value_of(costs, one, field) for one in (contender, base))
    return value / floor if value is not None and floor else None


def figure(value):
    """Three digits that count, or all before the point."""
    if value is None:
        return ''
    places = next((places for places, least in enumerate((100, 10, 1)) if value >= least), 3)
    return f'{value:,.{places}f}'


def figures(costs, contenders, field):
    return [figure(value_of(costs, contender, field)) for contender in contenders]


def with_best(values):
    """Figures, the least of them in bold."""
    found = [value for value in values if value is not None]
    least = min(found) if len(found) > 1 else None
    return [f'**{figure(value)}**' if value is not None and value == least else figure(value)
            for value in values]


def table(heads, rows):
    """Nothing, if no row has a figure."""
    rows = [row for row in rows if any(row[1:])]
    return tables.markdown(heads, rows) if rows else ''


def starts(found):
    return table(
        ['run', 'ours, ms', 'its commands, ms', 'with libraries, ms',
         'ours of these', 'ours, MiB', 'libraries, MiB'],
        ([words, *figures(costs, ('ours', 'floor', 'floor and libraries'), 'seconds'),
          figure(ratio(costs, 'ours', 'floor and libraries', 'seconds')),
          *figures(costs, ('ours', 'floor'), 'peak')]
         for words, _, costs in rows_of(found, STARTS, 2)))


def loads(found):
    return table(
        ['document', 'ours, ms', *(f'{name}, ms' for name in PEERS.values()), 'floor, ms',
         'instructions of floor', 'ours, MiB', 'best peer, MiB'],
        ([words, *with_best([value_of(costs, one, 'cold') for one in ('ours', *PEERS)]),
          *figures(costs, ['floor'], 'cold'),
          figure(ratio(costs, 'ours', 'floor', 'instructions')),
          *figures(costs, ['ours', tables.best_peer(costs, 'peak')], 'peak')]
         for words, _, costs in rows_of(found, LOADS)))


def changes(found):
    def each(costs, contender, size):
        count = value_of(costs, contender, 'instructions')
        return None if count is None else count / size
    return table(
        ['to each child', 'ours', *PEERS.values(), 'ours, heard'],
        ([words, *with_best([each(costs, one, size) for one in ('ours', *PEERS)]),
          figure(each(costs, 'ours-heard', size))]
         for words, size, costs in rows_of(found, CHANGES)))


def others(found):
    def cells(costs):
        peer = tables.best_peer(costs, 'seconds')
        return [*with_best([value_of(costs, one, 'seconds') for one in ('ours', peer)]),
                PEERS.get(peer, peer), *figures(costs, ['floor'], 'seconds')]
    return table(['work', 'ours, ms', 'best peer, ms', 'peer', 'floor, ms'],
                 ([words, *cells(costs)] for words, _, costs in rows_of(found, OTHERS)))


def growths(found):
    """For each quantity that the page shows, its words, its exponent and its line."""
    lines = tables.lines_of(found)
    for name, words in GROWTHS.items():
        if name in lines:
            yield f'{words}: {tables.exponent(lines[name]):.2f}', lines[name]


def faster(found):
    """What grows faster than its size, of all that was measured."""
    return ', '.join(f'`{quantity}` ({power:.2f})' for quantity, power
                     in tables.exponents(found).items() if power > 1.05) or 'nothing'


def page(run):
    """The tables take the places of their names in braces. A section without figures is left
    out."""
    found = run['figures']
    values = {'command': run['command'], 'processors': run['processors'], 'starts': starts(found),
              'loads': loads(found), 'changes': changes(found), 'others': others(found),
              'faster': faster(found), 'quantities': len(tables.exponents(found))}
    sections = re.split(r'(?m)^(?=## )', TEMPLATE.read_text())
    return ''.join(section.format(**values) for section in sections
                   if all(values[name] for name in re.findall(r'\{(\w+)\}', section)))


def draw(path, height, title, commands, style, series):
    """Draws series of points, each under its name. Without a point, there is no plot."""
    series = {name: points for name, points in series.items() if points}
    if not series:
        return
    script = [f'set terminal svg size 800,{height} background "white" font "sans,12" noenhanced',
              f'set output "{path}"', f'set title "{title}"', 'set border 3',
              'set tics nomirror scale 0.5,0', 'set grid xtics ytics',
              'set key outside right center reverse Left invert samplen 1', *commands]
    for number, points in enumerate(series.values()):
        script += [f'$series{number} << END', *(f'{x} {y}' for x, y in points), 'END']
    # The first one is drawn last, so that it covers the others.
    script.append('plot ' + ', '.join(
        f'$series{number} with {style} lc "{colour}" pt {point} title "{name}"'
        for number, (name, (colour, point)) in reversed([*enumerate(zip(series, STYLES))])))
    measure.output('gnuplot', input='\n'.join(script))


def dots(path, title, unit, commands, names, rows, value):
    """Draws a line for each row, and on it the value of each contender that has one."""
    rows = [*enumerate(rows, 1)]
    labels = ', '.join(f'"{words}" {place}' for place, (words, _, _) in rows)
    series = {shown: [(value(name, size, costs), place) for place, (_, size, costs) in rows]
              for name, shown in names.items()}
    draw(path, max(200, 100 + 22 * len(rows)), title,
         [f'set xlabel "{unit}"', *commands, f'set ytics ({labels})',
          f'set yrange [{len(rows) + 0.5}:0.5]'], 'points',
         {shown: [point for point in points if point[0]] for shown, points in series.items()})


def plots(found, directory):
    contenders = {'ours': 'ours'} | PEERS
    logarithmic = ['set logscale x', 'set format x "%.10g"']
    dots(directory / 'start.svg', 'Start', 'milliseconds of the processor', ['set xrange [0:*]'],
         {'ours': 'ours', 'floor': 'its commands', 'floor and libraries': 'with libraries'},
         rows_of(found, STARTS, 2), lambda one, _, costs: value_of(costs, one, 'seconds'))
    dots(directory / 'load.svg', 'Load', 'instructions, where the parser alone is 1', logarithmic,
         contenders, rows_of(found, LOADS),
         lambda one, _, costs: ratio(costs, one, 'floor', 'instructions'))
    dots(directory / 'change.svg', 'Change to each child', 'nanoseconds for a child', logarithmic,
         contenders | {'ours-heard': 'ours, heard'}, rows_of(found, CHANGES),
         lambda one, size, costs: (value_of(costs, one, 'seconds') or 0) * 1e6 / size)
    draw(directory / 'growth.svg', 350, 'Growth: a level line is linear',
         ['set logscale xy', 'set xlabel "size"', 'set ylabel "instructions for one of them"',
          'set format "%.0s%c"', 'set key title "work: exponent" left'], 'linespoints',
         {words: [(size, count / size) for size, count in line] for words, line in growths(found)})


def write(run, directory):
    pictures = directory / 'performance'
    pictures.mkdir(parents=True, exist_ok=True)
    plots(run['figures'], pictures)
    pictures.with_suffix('.md').write_text(page(run))
