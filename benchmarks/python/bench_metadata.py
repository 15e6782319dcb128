"""What metadata trees cost next to nested dicts and XML elements that hold the same."""

from __future__ import annotations

import copy
from collections.abc import Iterator
from dataclasses import replace
from xml.etree import ElementTree

import _zarnik
import zarnik
from measure import Ratio, compare

GROUPS, ENTRIES = 100, 100
NODES = GROUPS * ENTRIES + GROUPS + 1
KEYS = [f"key{i}" for i in range(max(GROUPS, ENTRIES))]
PATHS = [f"{group}/{entry}" for group in KEYS[:GROUPS] for entry in KEYS[:ENTRIES]]
PAIRS = [(group, entry) for group in KEYS[:GROUPS] for entry in KEYS[:ENTRIES]]


def zarnik_tree() -> zarnik.MetadataNode:
    create, add, value = (
        _zarnik.MetadataNodeFactory_create,
        _zarnik.MetadataNode_add_child,
        _zarnik.VariantDataValueFactory_create,
    )
    root = create("root", None)
    for group in KEYS[:GROUPS]:
        node = create(group, None)
        add(root, node)
        for number, entry in enumerate(KEYS[:ENTRIES]):
            add(node, create(entry, value(number)))
    return root


def dict_tree() -> dict[str, dict[str, int]]:
    return {group: {entry: number for number, entry in enumerate(KEYS[:ENTRIES])} for group in KEYS[:GROUPS]}


def xml_tree() -> ElementTree.Element:
    root = ElementTree.Element("root")
    for group in KEYS[:GROUPS]:
        node = ElementTree.SubElement(root, group)
        for number, entry in enumerate(KEYS[:ENTRIES]):
            ElementTree.SubElement(node, entry).text = str(number)
    return root


def each_node(ratio: Ratio, nodes: int) -> Ratio:
    """The same comparison for one node."""
    seconds = ratio.seconds / nodes
    name = f"{ratio.name}, {1 / seconds / 1e6:.2f} M nodes/s"
    return replace(ratio, name=name, seconds=seconds, reference_seconds=ratio.reference_seconds / nodes)


def run() -> Iterator[Ratio]:
    yield each_node(compare("build", zarnik_tree, "nested dicts", dict_tree), NODES)
    yield each_node(compare("build", zarnik_tree, "xml.etree", xml_tree), NODES)

    root = zarnik_tree()
    names = {
        "root": root,
        "get_node": _zarnik.MetadataNodeHelper_get_node,
        "exists": _zarnik.MetadataNodeHelper_exists,
        "dicts": dict_tree(),
        "find": xml_tree().find,
        "paths": PATHS,
        "pairs": PAIRS,
        "clone": root.clone,
        "deepcopy": copy.deepcopy,
        "xml": xml_tree(),
    }
    in_dicts, in_xml = "for group, entry in pairs: dicts[group][entry]", "for path in paths: find(path)"
    for name, work in (
        ("path exists", "for path in paths: exists(root, path)"),
        ("node of a path", "for path in paths: get_node(root, path)"),
        ("value of a path", "for path in paths: root[path]"),
    ):
        yield each_node(compare(name, work, "nested dicts", in_dicts, names), len(PATHS))
        yield each_node(compare(name, work, "xml.etree", in_xml, names), len(PATHS))
    yield each_node(compare("clone", "clone()", "deepcopy of nested dicts", "deepcopy(dicts)", names), NODES)
    yield each_node(compare("clone", "clone()", "deepcopy of xml.etree", "deepcopy(xml)", names), NODES)
