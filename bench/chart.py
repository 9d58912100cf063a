"""Draws the figures of the benchmarks as SVG, the same for the same numbers."""
import contextlib

import matplotlib
from measure import digits
from matplotlib import pyplot

# Seen on a light page and on a dark one alike.
INK = '#808080'
COLOURS = ['#3b82c4', '#d9822b', '#3a9d6e', '#b05fa8']

matplotlib.use('svg')
matplotlib.rcParams.update({
    'svg.hashsalt': 'schema',
    'svg.fonttype': 'none',
    'font.family': 'sans-serif',
    'font.size': 10,
    'axes.prop_cycle': matplotlib.cycler(color=COLOURS),
    'axes.spines.right': False,
    'axes.spines.top': False,
    'grid.alpha': 0.3,
    'legend.frameon': False,
    **{name: INK for name in (
        'axes.edgecolor', 'axes.labelcolor', 'axes.titlecolor', 'grid.color',
        'legend.labelcolor', 'text.color', 'xtick.color', 'ytick.color')}})


@contextlib.contextmanager
def figure(path, title, x, y, size=(7.5, 4)):
    """Axes to draw on, written to path at the end. Labels name the units."""
    drawing, axes = pyplot.subplots(figsize=size)
    axes.set_title(title)
    axes.set_xlabel(x)
    axes.set_ylabel(y)
    axes.grid(True)
    axes.set_axisbelow(True)
    yield axes
    axes.legend()
    drawing.savefig(path, transparent=True, bbox_inches='tight',
                    metadata={'Date': None, 'Creator': None})


def lines(path, title, x, y, series):
    """One line for each name in series: {name: [(x, y), ...]}."""
    with figure(path, title, x, y) as axes:
        for name, points in series.items():
            axes.plot(*zip(*points), marker='o', markersize=3, label=name)
        axes.set_xscale('log')
        axes.set_yscale('log')


def bars(path, title, x, series, groups):
    """Bars that lie and begin at 1, on a logarithmic scale: series is {name:
    [number for each group, or None]}."""
    height = 0.8 / len(series)
    with figure(path, title, x, '',
                (7.5, 1 + 0.24 * len(groups) * (len(series) + 0.5))) as axes:
        for index, (name, numbers) in enumerate(series.items()):
            there = [(group + height * (index - (len(series) - 1) / 2), number)
                     for group, number in enumerate(numbers)
                     if number is not None]
            places, lengths = zip(*there)
            axes.barh(places, [length - 1 for length in lengths], height,
                      left=1, label=name)
            for place, number in there:
                axes.text(max(number, 1), place, f' {digits(number)}',
                          va='center', fontsize=8)
        axes.set_yticks(range(len(groups)), groups)
        axes.invert_yaxis()
        axes.grid(False, axis='y')
        axes.axvline(1, color=INK, linewidth=1, linestyle='--')
        axes.set_xscale('log')
        axes.xaxis.set_major_formatter('{x:g}')
