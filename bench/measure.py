"""Measures things in turn, so that what disturbs one disturbs the others."""
import math
import statistics


def in_turn(rounds, things, progress):
    """Calls each of things, {name: function}, once a round; the functions
    return what they measured. {name: [a number for each round]}"""
    numbers = {name: [] for name in things}
    for index in range(rounds):
        for name, function in things.items():
            progress(f'round {index + 1} of {rounds}: {name}')
            numbers[name].append(function())
    return numbers


def spread(numbers):
    """What all tables mean by a spread: the median, the lowest, the highest."""
    return {'median': statistics.median(numbers),
            'lowest': min(numbers), 'highest': max(numbers)}


def ratio(numbers, base):
    """The spread of the ratio in each round."""
    return spread([a / b for a, b in zip(numbers, base)])


def digits(number):
    """A figure that was measured, in two digits."""
    if number == 0:
        return '0'
    for _ in range(2):  # 0.996 becomes 1.0, and that has other places
        places = 1 - math.floor(math.log10(abs(number)))
        number = round(number, places)
    return f'{number:,.{max(places, 0)}f}'


def show(figures):
    """A spread as text, without its bounds where these were not kept."""
    if 'lowest' not in figures:
        return digits(figures['median'])
    return (f'{digits(figures["median"])} '
            f'({digits(figures["lowest"])}–{digits(figures["highest"])})')


def table(head, rows):
    """A table in Markdown; all columns but the first are numbers."""
    lines = [head, ['---'] + ['---:'] * (len(head) - 1), *rows]
    return '\n'.join('| ' + ' | '.join(map(str, line)) + ' |'
                     for line in lines)
