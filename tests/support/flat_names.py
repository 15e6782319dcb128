"""The names of all functions of the flat module, as its interface has them."""

from __future__ import annotations

import re

ELEMENTS = ["u8", "i8", "u16", "i16", "u32", "i32", "u64", "i64", "f", "d"]
OPERATORS = ["__mul__", "__or__", "__and__", "__xor__", "__lshift__"]


def classes(text: str) -> dict[str, list[str]]:
    """Classes with their methods; a * in a name stands for each type of elements, indented lines go on with a list."""
    found = {}
    for entry in re.split(r"\n(?! )", text.strip()):
        names, _, methods = entry.partition(":")
        for name in names.split():
            for element in ELEMENTS if "*" in name else [""]:
                found[name.replace("*", element)] = methods.split()
    return found


# Classes that Python can make. Their methods are in the order of their registration; "new" stands where it is not
# behind all others.
CONCRETE = classes("""
Logger: init log_level
VersionInfo: major_set major_get minor_set minor_get patch_set patch_get
Versioning: version version_string check_compatibility
UidGenerator: generate
Error: __str__
InvalidArgument:
NotImplemented:
DataType: new extract_scalar_type standard_range is_numeric is_scalar is_vector is_convertible_to get_id get_bit_depth
  get_element_count _get_primitive_type _get_interpretation bit_count byte_count to_string __eq__ __ne__
Vector2* Vector3* Vector4*: create_uniform new size at set_at squared_length length normalize __eq__ __ne__ to_string
  __neg__ __iadd__ __isub__ __add__ __sub__ dot cross __imul__ __itruediv__ __mul__ __truediv__ __lt__ __le__ __gt__
  __ge__
VectorX*: create_uniform new size at set_at __eq__ __ne__ squared_length length normalize to_string __neg__ __iadd__
  __isub__ __add__ __sub__ dot cross __imul__ __itruediv__ __mul__ __truediv__ __lt__ __le__ __gt__ __ge__
Matrix3f Matrix3d Matrix4f Matrix4d: identity uniform new __eq__ __ne__ at __call__ set_at transpose_in_place
  transpose inverse to_string __neg__ __iadd__ __isub__ __add__ __sub__ __imul__ __itruediv__ __mul__ __truediv__
TransformMatrix3Factory: translation rotation scaling
TransformMatrix4Factory: translation rotation_euler rotation_on_axis scaling
Region2u64 Region3u64 Region4u64: get_dimension_count get_origin get_size get_element_count get_min get_max
  get_is_empty contains intersect intersection extract_slice_from_axis __eq__ to_string
RegionXu64: from_index new create_full_region get_dimension_count get_origin get_size get_min get_max
  get_element_count get_is_empty contains intersect intersection extract_slice_from_axis __eq__ __ne__ to_string
ArrayX*: new dimension_count shape indexer at set_at reshape to_string __eq__ __ne__ _to_numpy from_numpy
Indexer: new dimension_count dtype shape stride byte_stride layout element_count byte_count offset byte_offset
  is_continuous __eq__ __ne__
ImageType: new has add remove dimension_count _dimension index_dimension __or__ __eq__ __ne__ to_string value
ImageTypeId:
MetadataNode: clone get_key get_value get_child_count has_child child add_child remove_child __begin __end to_string
MetadataNodeIterator ConstMetadataNodeIterator: next value __eq__ __ne__ __ref__ __deref__
ReadonlyMetadataNode: clone get_key get_value get_child_count has_child child to_string __begin __end
MetadataNodeFactory: create
MetadataNodeHelper: get_node exists create_path
SpatialDirections: get_column_direction get_row_direction get_slice_direction __eq__ __ne__ to_string
SpatialCalibrationProperty: get_origin get_spacing get_directions get_unit set_origin set_spacing set_directions
  set_unit __eq__ __ne__ to_string
ImageInfoProperty: channel_count get_axes_interpretation set_axes_interpretation _get_interpretation
  set_interpretation get_alpha set_alpha get_bit_depth set_bit_depth get_value_range set_value_range __eq__ to_string
ImageProperties: from_data_type from_properties clone get_calibration set_calibration get_image_info set_image_info
  is_compatible_with __eq__ to_string
Uri: scheme authority host port user_info path query path_and_query to_string
HTTPHeaders: size at add
StreamAccessProvider: is_stream_access to_stream
RandomAccessProvider: is_random_access to_random
StreamAccessFactory: allocate copy_in_memory open_file_read open_file_write open_file open_uri_write open_http_write
  from_random_access
RandomAccessFactory: allocate copy_in_memory map_file open_uri_read open_http_read extract_region from_stream
  __from_buffer
ImageViewProvider: is_image to_image to_read_only to_write_only
ImageViewFactory: allocate copy_in_memory create_on_disk copy_on_disk from_random_access from_image_view
  adapt_dynamic_range adapt_data_type extract_channel extract_region extract_adjusted_region stack assemble_channels
  disassemble_channels interlace reinterpret reinterpret_axes sub_sample flip_dimension flip_dimension_index
  make_thread_safe _uniform __from_buffer
ImageCapabilitySet MultiImageCapabilitySet DataFrameCapabilitySet StreamAccessCapabilitySet RandomAccessCapabilitySet
  ParallelAccessCapabilitySet: value has add remove __eq__ __ne__ __ior__ __iand__ __ixor__ __or__ __and__ __xor__
ExtensionProvider: to_tiling_info to_parallel_access to_view_origin
MultiImageViewProvider: is_multi_image to_multi_image
LodImageViewProvider: is_lod_image to_lod_image
MultiImageViewFactory: create create_from_list unstack_dimension_index unstack_dimension deinterlace
DataFrameViewProvider: is_data_frame to_data_frame
DataFrameViewFactory: _allocate _allocate_empty
DependencyGraph: _has_common_ancestor
NumpyInterop: to_numpy_array order_to_numpy_array _from_numpy_array _order_from_numpy_array
""")

# Classes of which Python only gets objects, or uses the functions.
ABSTRACT = classes("""
VariantDataValue: clone get_type get_count raw __getitem
VariantDataValueFactory: create
ReadonlySpatialCalibrationProperty: get_origin get_spacing get_directions get_unit to_string
ReadonlyImageInfoProperty: get_axes_interpretation _get_interpretation get_alpha get_bit_depth get_value_range
  to_string
ReadonlyImageProperties: clone to_string get_calibration get_image_info __eq__
DataStorage: open_stream_access open_random_access get_source
DataAccess: get_storage get_resource_id
StreamAccess: capabilities support get_good get_eof get_fail to_string peek flush tell seek __read write
RandomAccess: capabilities support get_size to_string resize __read write
View: _extension view_origin
ImageView: get_dimension_count support get_capabilities get_shape get_data_type __get_properties to_string
  __get_metadata _get_image_interpretation get_axes_interpretation get_spatial_origin get_spatial_spacing
  get_spatial_unit get_spatial_directions get_bit_depth get_has_alpha get_value_range set_properties set_metadata
  set_image_interpretation set_axes_interpretation set_spatial_origin set_spatial_spacing set_spatial_unit
  set_spatial_directions set_bit_depth set_alpha set_value_range reshape tiling_info parallel_access
  create_from_pointer __read __read_region __write __write_region
Extension:
TilingInfoExtension: cast max_tile_size tile_count tile_region tiling_grid read_tile write_tile
ParallelAccessExtension: cast get_capabilities support to_string
ViewOriginExtension: cast uid parent_count parent data_origin display_name to_string
ColumnUnitExtension: cast unit set_unit
MultiImageView: get_capabilities support to_string get_frame_count frame __get_metadata add_frame set_frame
  remove_frame set_metadata create_from_pointer
LodImageView: get_level_range resolution to_string
DataFrameView: get_capabilities get_shape column_name column_index column_data_type unit set_unit add_column add_rows
  remove_column remove_rows to_string _reshape create_from_pointer _read_bytes _write_bytes _read_strings
  _write_strings _at _set_at
Writer: write_all write_init write_data write_finish name version set_option to_string
SwigPyIterator: value incr decr distance equal copy next __next__ previous advance __eq__ __ne__ __iadd__ __isub__
  __add__ __sub__
""")


def spelled(suffix: str) -> str:
    """A type of elements as the functions that store vectors name it."""
    return suffix if suffix[1:] in ("", "8") else f"{suffix[0]}_{suffix[1:]}"


def serialization() -> list[str]:
    """One encoder and one decoder for each type, named less evenly than the types are."""
    kinds = ["image_view", "data_frame_view"]
    kinds += [f"arrayx{element}" for element in ELEMENTS]
    kinds += [f"vector_{size}{spelled(element)}" for size in "234x" for element in ELEMENTS]
    kinds += [f"matrix_{size}{element}" for size in "34" for element in "fd"]
    return [f"Serialization_{verb}_{kind}" for verb in ("encode", "decode") for kind in kinds]


def class_names() -> list[str]:
    """All classes that are registered, the generator's iterator class among them."""
    return [*CONCRETE, *ABSTRACT, "Serialization"]


def functions_of(name: str) -> list[str]:
    """The functions of one class."""
    if name == "Serialization":
        return [*serialization(), f"delete_{name}", f"{name}_swigregister"]
    methods = [*CONCRETE.get(name, ()), *ABSTRACT.get(name, ())]
    if name in CONCRETE and "new" not in methods:
        methods.append("new")
    functions = [f"new_{name}" if method == "new" else f"{name}_{method}" for method in methods]
    return [*functions, f"delete_{name}", f"{name}_swigregister", *[f"{name}_swiginit"] * (name in CONCRETE)]


def all_functions() -> list[str]:
    return [*OPERATORS, *(function for name in class_names() for function in functions_of(name))]
