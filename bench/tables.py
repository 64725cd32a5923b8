"""What a run prints: a table for each subject, and the power of the size that each quantity grows
with."""
import math

import measure

OURS = ('ours', 'ours-heard')
# The least work that the job of each subject allows.
FLOORS = {
    'start': 'The very shell commands that it runs, each a shell of its own. A program that only '
             'starts the same libraries has the peak, and its time is added in the last line.',
    'load': 'The parser with empty handlers.',
    'read': 'None: the document is there.',
    'change': 'None: the document is there.',
    'save': 'One write of the same bytes.',
    'free': 'None: the best peers give a document back without a look at its nodes.',
    'generate': 'One write of the same bytes.',
    'restrict': 'A copy of the same text.',
    'addresses': 'Of parsing, one pass over the text. Of selecting, one pass over the list and the '
                 'texts of the addresses.',
    'log': 'The system calls of a record whose file may be moved away before the next one.',
    'certificate': 'Of a check, reading both files and comparing them. Of a first pair, the bare '
                   'key, whose time is chance.',
    'growth': 'None: works that could cost more than their size.'}
# Their floor is done by the system, whose instructions nobody counts.
FLOOR_IN_SYSTEM = ('save', 'generate', 'log')
# Of these a table shows the largest input alone.
LARGEST = ('load', 'read', 'change', 'save', 'free', 'growth')
WITHOUT_PEAK = ('free',)
# How each figure is headed, in which unit it is shown, with how many places.
FIELDS = {'instructions': ('instructions', 1, 0), 'seconds': ('ms', 1e3, 3),
          'cold': ('cold ms', 1e3, 3), 'peak': ('peak KiB', 1 / 1024, 0)}


def markdown(heads, rows):
    return '\n'.join(f'| {" | ".join(row)} |' for row in
                     [heads, ['---', *['--:'] * (len(heads) - 1)], *rows])


def inputs_of(found, subject):
    """For each input and each of its sizes, what each contender took."""
    inputs = {}
    for name, costs in sorted(found.items()):
        if name.startswith(subject + '/'):
            _, what, size, contender = measure.split(name)
            inputs.setdefault(what, {}).setdefault(size or 0, {})[contender] = costs
    return inputs


def best_peer(contenders, field):
    """The peer that takes the least, or nothing. One that was cut off would have taken more. The
    memory of a whole process is not compared with that of a work."""
    return min((name for name, costs in contenders.items()
                if name not in (*OURS, 'floor') and not name.endswith('cut off')
                and field in costs and (field != 'peak' or 'instructions' in costs)),
               key=lambda name: contenders[name][field], default='')


def cells(contenders, contender, field, has_floor):
    """A figure; for ours also its ratios to the floor and to the best peer."""
    _, factor, places = FIELDS[field]
    value = contenders[contender].get(field)
    bases = [None, None]
    if contender in OURS and value is not None:
        bases = [contenders.get(base, {}).get(field)
                 for base in ('floor' if has_floor else '', best_peer(contenders, field))]
    return ['' if value is None else f'{value * factor:,.{places}f}',
            *(f'{value / base:.2f}' if base and base > 0 else '' for base in bases)]


def table(found, subject):
    shown = [(what + (f' {size:,}' if size else ''), sizes[size])
             for what, sizes in inputs_of(found, subject).items()
             for size in sorted(sizes)[-1 if subject in LARGEST else 0:]]
    fields = [field for field in FIELDS
              if any(field in costs for _, contenders in shown for costs in contenders.values())
              and (field != 'peak' or subject not in WITHOUT_PEAK)]
    rows = []
    for words, contenders in shown:
        for contender in sorted(contenders, key=lambda one: (one not in OURS, one)):
            rows.append([words, contender])
            for field in fields:
                rows[-1] += cells(contenders, contender, field,
                                  field != 'instructions' or subject not in FLOOR_IN_SYSTEM)
            rows[-1].append(f'{contenders[contender].get("faults", 0):,.0f}')
    return markdown(['input', 'contender', *(head for field in fields for head in
                                             (FIELDS[field][0], 'of floor', 'of peer')),
                     'page faults'], rows)


def lines_of(found):
    """For each quantity of ours that grows, the sizes and their instructions."""
    lines = {}
    for name, costs in found.items():
        subject, what, size, contender = measure.split(name)
        if size and 'instructions' in costs and contender in OURS and subject != 'start':
            quantity = f'{subject}/{what}' + (', heard' if contender == 'ours-heard' else '')
            lines.setdefault(quantity, []).append((size, costs['instructions']))
    return {quantity: sorted(line) for quantity, line in sorted(lines.items()) if len(line) > 1}


def exponent(line):
    """The slope of the logarithms at the largest sizes."""
    (x, y), (last_x, last_y) = line[-2:]
    return math.log(last_y / y) / math.log(last_x / x)


def exponents(found):
    return {quantity: exponent(line) for quantity, line in lines_of(found).items()}


def all_tables(found):
    """Every figure, as text. What was not measured is left out."""
    shown = [f'## {subject.capitalize()}\n\nFloor: {floor}\n\n{table(found, subject)}\n'
             for subject, floor in FLOORS.items() if inputs_of(found, subject)]
    powers = [(quantity, f'{power:.2f}') for quantity, power in exponents(found).items()]
    return '\n'.join([*shown, '## Exponents\n', markdown(['quantity', 'exponent'], powers)])
