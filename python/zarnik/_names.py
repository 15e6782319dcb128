"""Which names of the package are shown: all can be imported, but a list of thousands helps nobody."""

from __future__ import annotations

#: Families of classes show those that images use; what a method makes, or a function of the package replaces, needs no
#: name of its own, and constants are members of enumerations.
SHOWN = (
    *("DataFrameView", "DataFrameViewFactory", "DataType", "Error", "HTTPHeaders", "ImageDimension"),
    *("ImageInterpretation", "ImageProperties", "ImageType", "ImageView", "ImageViewFactory", "ImageViewProvider"),
    *("InvalidArgument", "LodImageView", "LogLevel", "Logger", "LossWarning", "Matrix3d", "Matrix4d", "MetadataNode"),
    *("MultiImageView", "RandomAccess", "RegionXu64", "Serialization", "StreamAccess", "Vector3d", "VectorXu64"),
    *("cache_info", "coarser_levels", "create", "empty", "empty_like", "formats", "from_array", "from_dask"),
    *("from_dlpack", "from_nibabel", "from_numpy", "from_simpleitk", "from_xarray", "full", "full_like"),
    *("http_options", "info", "lod_image", "multi_image", "open", "open_random", "open_raw", "open_stream"),
    *("rebuild_levels", "save", "set_cache_size", "set_http_options", "set_thread_count", "stack", "thread_count"),
    *("uniform", "variant", "writer", "zeros", "zeros_like"),
)
