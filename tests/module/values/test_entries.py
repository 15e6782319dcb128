"""Every function of the value classes is there, in the order of registration."""

import _zarnik
from support.values import ELEMENTS, VECTORS

FIXED_VECTOR = """
{0}_create_uniform new_{0} {0}_size {0}_at {0}_set_at {0}_squared_length {0}_length {0}_normalize {0}___eq__ {0}___ne__
{0}_to_string {0}___neg__ {0}___iadd__ {0}___isub__ {0}___add__ {0}___sub__ {0}_dot {0}_cross {0}___imul__
{0}___itruediv__ {0}___mul__ {0}___truediv__ {0}___lt__ {0}___le__ {0}___gt__ {0}___ge__
delete_{0} {0}_swigregister {0}_swiginit
"""
RUN_TIME_VECTOR = """
{0}_create_uniform new_{0} {0}_size {0}_at {0}_set_at {0}___eq__ {0}___ne__ {0}_squared_length {0}_length {0}_normalize
{0}_to_string {0}___neg__ {0}___iadd__ {0}___isub__ {0}___add__ {0}___sub__ {0}_dot {0}_cross {0}___imul__
{0}___itruediv__ {0}___mul__ {0}___truediv__ {0}___lt__ {0}___le__ {0}___gt__ {0}___ge__
delete_{0} {0}_swigregister {0}_swiginit
"""
MATRIX = """
{0}_identity {0}_uniform new_{0} {0}___eq__ {0}___ne__ {0}_at {0}___call__ {0}_set_at {0}_transpose_in_place
{0}_transpose {0}_inverse {0}_to_string {0}___neg__ {0}___iadd__ {0}___isub__ {0}___add__ {0}___sub__ {0}___imul__
{0}___itruediv__ {0}___mul__ {0}___truediv__ delete_{0} {0}_swigregister {0}_swiginit
"""
FIXED_REGION = """
{0}_get_dimension_count {0}_get_origin {0}_get_size {0}_get_element_count {0}_get_min {0}_get_max {0}_get_is_empty
{0}_contains {0}_intersect {0}_intersection {0}_extract_slice_from_axis {0}___eq__ {0}_to_string
new_{0} delete_{0} {0}_swigregister {0}_swiginit
"""
RUN_TIME_REGION = """
{0}_from_index new_{0} {0}_create_full_region {0}_get_dimension_count {0}_get_origin {0}_get_size {0}_get_min
{0}_get_max {0}_get_element_count {0}_get_is_empty {0}_contains {0}_intersect {0}_intersection
{0}_extract_slice_from_axis {0}___eq__ {0}___ne__ {0}_to_string delete_{0} {0}_swigregister {0}_swiginit
"""
ARRAY = """
new_{0} {0}_dimension_count {0}_shape {0}_indexer {0}_at {0}_set_at {0}_reshape {0}_to_string {0}___eq__ {0}___ne__
{0}__to_numpy {0}_from_numpy delete_{0} {0}_swigregister {0}_swiginit
"""
OTHERS = """
TransformMatrix3Factory_translation TransformMatrix3Factory_rotation TransformMatrix3Factory_scaling
new_TransformMatrix3Factory delete_TransformMatrix3Factory TransformMatrix3Factory_swigregister
TransformMatrix3Factory_swiginit
TransformMatrix4Factory_translation TransformMatrix4Factory_rotation_euler TransformMatrix4Factory_rotation_on_axis
TransformMatrix4Factory_scaling new_TransformMatrix4Factory delete_TransformMatrix4Factory
TransformMatrix4Factory_swigregister TransformMatrix4Factory_swiginit
"""
INDEXER = """
new_Indexer Indexer_dimension_count Indexer_dtype Indexer_shape Indexer_stride Indexer_byte_stride Indexer_layout
Indexer_element_count Indexer_byte_count Indexer_offset Indexer_byte_offset Indexer_is_continuous Indexer___eq__
Indexer___ne__ delete_Indexer Indexer_swigregister Indexer_swiginit
"""
TYPES = """
new_DataType DataType_extract_scalar_type DataType_standard_range DataType_is_numeric DataType_is_scalar
DataType_is_vector DataType_is_convertible_to DataType_get_id DataType_get_bit_depth DataType_get_element_count
DataType__get_primitive_type DataType__get_interpretation DataType_bit_count DataType_byte_count DataType_to_string
DataType___eq__ DataType___ne__ delete_DataType DataType_swigregister DataType_swiginit
"""
IMAGE_TYPES = """
new_ImageType ImageType_has ImageType_add ImageType_remove ImageType_dimension_count ImageType__dimension
ImageType_index_dimension ImageType___or__ ImageType___eq__ ImageType___ne__ ImageType_to_string ImageType_value
delete_ImageType ImageType_swigregister ImageType_swiginit
new_ImageTypeId delete_ImageTypeId ImageTypeId_swigregister ImageTypeId_swiginit
"""


def test_entries_in_order():
    families = [
        (TYPES, [""]),
        *((FIXED_VECTOR if vector.size else RUN_TIME_VECTOR, [vector.name]) for vector in VECTORS),
        (MATRIX, ["Matrix3f", "Matrix3d", "Matrix4f", "Matrix4d"]),
        (OTHERS, [""]),
        (FIXED_REGION, ["Region2u64", "Region3u64", "Region4u64"]),
        (RUN_TIME_REGION, ["RegionXu64"]),
        (ARRAY, [f"ArrayX{suffix}" for suffix in ELEMENTS]),
        (INDEXER, [""]),
        (IMAGE_TYPES, [""]),
    ]
    expected = [entry for template, names in families for name in names for entry in template.format(name).split()]
    assert len(expected) == 20 + 40 * 29 + 4 * 24 + 15 + 3 * 17 + 20 + 10 * 15 + 17 + 19
    ours = set(expected)
    assert [name for name in vars(_zarnik) if name in ours] == expected
