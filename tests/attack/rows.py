"""What a row of the attack suite is."""

ROWS = []


def row(bound, quick=True):
    """A function of the program's path that attacks it and gives (the figure in words, whether it held). `bound` says in
    words what must hold. Rows that take more than a few seconds are not `quick`."""

    def add(function):
        ROWS.append({"name": function.__name__, "bound": bound, "quick": quick, "run": function})
        return function

    return add
