"""The library beside the other ways to move the same values."""


def run(build_dir, rounds, progress):
    del build_dir
    progress('nothing yet')
    return {'rounds': rounds}


def markdown(results):
    return f'{results["rounds"]} rounds'


def draw(results, folder):
    del results, folder
