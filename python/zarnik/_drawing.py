"""Trees of metadata as text and as HTML, and numbers of things."""

from __future__ import annotations

from collections.abc import Iterator
from typing import Any

from zarnik._variants import shortened

_MAXIMAL_LINES = 100
_MAXIMAL_DEPTH = 20


def _label(node: Any) -> str:
    value = node.get_value()
    return str(node.get_key()) if value is None else f"{node.get_key()} = {shortened(value)}"


def drawn(root: Any) -> Iterator[str]:
    """Return the lines of the text of a tree."""
    yield _label(root) or "metadata"
    # Of each level that is begun: its children still to come, and what stands before them.
    levels = [(iter(root), len(root), "")]
    lines = 1
    while levels:
        children, left, before = levels.pop()
        child = next(children, None)
        if child is None:
            continue
        if lines == _MAXIMAL_LINES:
            yield before + "..."
            return
        lines += 1
        left -= 1
        levels.append((children, left, before))
        yield before + ("├─ " if left else "└─ ") + _label(child)
        if len(child) and len(levels) < _MAXIMAL_DEPTH:
            levels.append((iter(child), len(child), before + ("│  " if left else "   ")))
        elif len(child):
            yield before + ("│  " if left else "   ") + "└─ ..."


def html_of(root: Any) -> str:
    """Return the HTML of a tree whose levels can be folded."""
    from html import escape

    parts: list[str] = []
    # Text to be written, or nodes to be opened, last first.
    pending: list[Any] = [(root, 0)]
    nodes = 0
    while pending:
        entry = pending.pop()
        if isinstance(entry, str):
            parts.append(entry)
            continue
        node, depth = entry
        nodes += 1
        label = escape(_label(node) or "metadata")
        if nodes > _MAXIMAL_LINES * 10:
            parts.append("<div>...</div>")
            break
        if not len(node):
            parts.append(f"<div>{label}</div>")
        elif depth == _MAXIMAL_DEPTH:
            parts.append(f"<div>{label} ...</div>")
        else:
            parts.append(f"<details{' open' if depth < 2 else ''}><summary>{label}</summary>")
            parts.append('<div style="margin-left:1.5em">')
            pending.append("</div></details>")
            pending.extend((child, depth + 1) for child in reversed(list(node)))
    parts.extend(entry for entry in reversed(pending) if isinstance(entry, str))
    return "".join(parts)


def counted(number: int, what: str) -> str:
    """Return "1 level" or "2 levels"."""
    return f"{number} {what}{'s' * (number != 1)}"
