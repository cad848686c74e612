"""Lines of code that are known and explained: tests/uncovered.txt, tests/mutants.txt. A row is file,
line, reason, with tabs between.
"""
from pathlib import Path


def read(path):
    """The rows' files and lines."""
    return {tuple(row.split("\t")[:2]) for row in Path(path).read_text().splitlines()
            if row and not row.startswith("#")}


def expired(rows, lines, files):
    """How many rows explain what is no longer among the lines of these files; prints them."""
    old = sorted(row for row in rows if row[0] in files and row not in lines)
    for file, line in old:
        print(f"{file}: no longer there, though explained: {line}")
    return len(old)
