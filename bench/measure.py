"""Measures things in turn, so that what disturbs one disturbs the others."""
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
    """The median, and the bounds of the middle half of the numbers."""
    low, middle, high = (statistics.quantiles(numbers, method='inclusive')
                         if len(numbers) > 1 else numbers * 3)
    return {'median': middle, 'low': low, 'high': high}


def ratio(numbers, base):
    """The spread of the ratio in each round."""
    return spread([a / b for a, b in zip(numbers, base)])


def show(figures):
    """A spread as text."""
    return (f'{figures["median"]:.3g} '
            f'({figures["low"]:.3g}–{figures["high"]:.3g})')


def table(head, rows):
    """A table in Markdown; all columns but the first are numbers."""
    lines = [head, ['---'] + ['---:'] * (len(head) - 1), *rows]
    return '\n'.join('| ' + ' | '.join(map(str, line)) + ' |'
                     for line in lines)
