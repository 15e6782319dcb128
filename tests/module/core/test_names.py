"""The functions of the module are exactly those of its interface."""

import _zarnik
from support.flat_names import all_functions, class_names, functions_of
from zarnik import _classes


def exported():
    module_attributes = {"__loader__", "__spec__"}
    return [name for name, value in vars(_zarnik).items() if callable(value) and name not in module_attributes]


def test_every_function_is_of_the_interface():
    assert len(class_names()) == len(set(class_names())) == 125
    assert len(all_functions()) == len(set(all_functions())) == 2269
    assert set(exported()) == set(all_functions())


def test_functions_of_the_value_classes_come_in_order():
    families = ("DataType", "Vector", "Matrix", "TransformMatrix", "Region", "ArrayX", "Indexer", "ImageType")
    expected = [entry for name in class_names() if name.startswith(families) for entry in functions_of(name)]
    assert [name for name in exported() if name in set(expected)] == expected


def test_every_function_has_a_documentation_but_operators_and_registration():
    registration = ("_swigregister", "_swiginit")
    missing = [
        name
        for name in exported()
        if not getattr(_zarnik, name).__doc__ and not name.endswith(registration) and not name.startswith("__")
    ]
    assert [name for name in missing if not name.startswith(("SwigPyIterator_", "delete_SwigPyIterator"))] == []
    assert [name for name in exported() if name.startswith("__") and getattr(_zarnik, name).__doc__] == []


def test_every_class_is_registered_under_its_name():
    for name in sorted(class_names()):
        assert getattr(_classes, name).__name__ == name
