"""Markdown tables that line up on a terminal, and the sections of BASELINE.md that hold them."""

import re


def make_table(heads, rows):
    """Returns a table; a column that holds only numbers is aligned to the right."""
    cells = [[str(cell) for cell in row] for row in (heads, *rows)]
    columns = list(zip(*cells))
    widths = [max(map(len, column)) for column in columns]
    numeric = [all(re.fullmatch(r"[0-9.,]*", cell) for cell in column[1:]) for column in columns]
    lines = [_make_line(row, widths, numeric) for row in cells]
    rule = "".join(f"|{'-' * (width + 1)}{':' if right else '-'}"
                   for width, right in zip(widths, numeric))
    return "\n".join([lines[0], rule + "|", *lines[1:]])


def _make_line(row, widths, numeric):
    cells = [cell.rjust(width) if right else cell.ljust(width)
             for cell, width, right in zip(row, widths, numeric)]
    return f"| {' | '.join(cells)} |"


def read_section(document, name):
    """Returns the text between the comment `<!-- NAME -->` and the next comment."""
    return _find_section(document, name).group(2)


def replace_section(document, name, content):
    """Returns the document with `content` in a section."""
    section = _find_section(document, name)
    return f"{document[:section.start(2)]}\n{content}\n\n{document[section.end(2):]}"


def _find_section(document, name):
    section = re.search(rf"^(<!-- {name} -->\n)(.*?)(?=^<!-- )", document, re.DOTALL | re.MULTILINE)
    if not section:
        raise ValueError(f"there is no section {name}")
    return section


def read_rows(text):
    """Returns the rows of the tables in `text`, as lists of cells."""
    return [[cell.strip() for cell in line.strip("|").split("|")]
            for line in text.splitlines() if line.startswith("| ")]
