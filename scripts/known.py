"""Lines of code that are known and explained: tests/uncovered.txt and tests/mutants.txt. A row is
file, line, reason, with tabs between.
"""
from pathlib import Path


def read(path):
    """The files and lines of the rows."""
    return {tuple(row.split("\t")[:2]) for row in Path(path).read_text().splitlines()
            if row and not row.startswith("#")}


def expired(rows, lines):
    """How many rows explain what is not among these files and lines; prints them."""
    old = sorted(rows - lines)
    for file, line in old:
        print(f"{file}: explained, but no longer there: {line}")
    return len(old)
