"""NIfTI 1 and 2, through nibabel."""

from __future__ import annotations

import os
import warnings
from collections.abc import Mapping
from typing import TYPE_CHECKING, Any

import numpy

import zarnik._classes as _classes
from zarnik import _spatial
from zarnik._enumerations import ImageInterpretation
from zarnik._formats import _elements
from zarnik.plugins import Format, Series, Source, image_of

if TYPE_CHECKING:
    from zarnik.plugins import Progress

_MAGIC = {348: (344, 4, (b"n+1\0", b"ni1\0")), 540: (4, 8, (b"n+2\0\r\n\x1a\n", b"ni2\0\r\n\x1a\n"))}
# Of dimensions 1 to 5: the last is that of vectors.
_AXES = "XYZTC"
_UNITS = {"meter": "m", "mm": "mm", "micron": "\N{MICRO SIGN}m"}
_LABELS = 1002
_JSON = 6  # the code of extensions that hold a text for people
_MOST_EXTENSIONS = 1 << 26
# What of a header that was read is written again, where it says nothing of the elements or their place.
_KEPT = (
    *("descrip", "aux_file", "intent_code", "intent_p1", "intent_p2", "intent_p3", "intent_name", "cal_min", "cal_max"),
    *("slice_start", "slice_end", "slice_code", "slice_duration", "dim_info", "toffset"),
)


class NIfTI(Format):
    """Volumes and sequences of them, in millimetres of RAS space; elements that are not compressed are mapped."""

    name = "NIfTI"
    suffixes = (".nii", ".nii.gz", ".hdr", ".img", ".hdr.gz", ".img.gz")
    extra = "nifti"
    requires = ("nibabel",)
    can_write = True
    can_update = True

    def recognizes(self, source: Source) -> bool:
        return _size_of_header(source) is not None or _header_of_pair(source) is not None

    def open(self, source: Source, *, scaled: bool = True) -> list[Series]:  # type: ignore[override]
        """Open a volume.

        :param scaled: Whether elements are what `scl_slope` and `scl_inter` make of them, in double precision as
            nibabel has them; the stored ones if not.
        """
        header_source = _header_of_pair(source) or source
        header, extensions = _header(header_source)
        elements = header_source if header.is_single else _elements_of_pair(header_source)
        shape = header.get_data_shape()
        while len(shape) > 5 and shape[-1] == 1:
            shape = shape[:-1]
        if not 1 <= len(shape) <= 5:
            raise _classes.Error(f"{source.name!r} has {len(shape)} dimensions of sizes {shape}, allowed are 1 to 5")
        axes = _AXES[: len(shape)]
        if len(shape) == 5 and shape[3] == 1:
            shape, axes = (*shape[:3], shape[4]), "XYZC"
        dtype = header.get_data_dtype()
        sizes, letters = shape[::-1], axes[::-1]
        interpretation = ImageInterpretation.LABEL if int(header["intent_code"]) == _LABELS else None
        if dtype.names:
            if "C" in letters:
                raise _classes.Error(f"{source.name!r} has vectors of colours: its dimensions are {shape} of {dtype}")
            sizes, letters, dtype = (*sizes, len(dtype.names)), letters + "C", numpy.dtype(numpy.uint8)
            interpretation = ImageInterpretation.RGB
        array = _array(elements, header, sizes, dtype, letters)
        slope, intercept = header.get_slope_inter()
        if scaled and interpretation != ImageInterpretation.RGB and slope is not None and (slope, intercept) != (1, 0):
            if source.mode != "r":
                raise _classes.NotImplemented(f"{source.name!r} has scaled elements: scaled=False writes stored ones")
            array = _elements.scaled(array, letters, float(slope), float(intercept or 0))
        text = next((text for code, text in extensions if code == _JSON and text.startswith("{")), None)
        told = _elements.described_by(
            text, lambda: _plain(header, extensions), self.name, interpretation=interpretation, unit=_unit(header)
        )
        affine, place = _affine(header, source.name)
        return [Series(None, [lambda: image_of(array, letters, **{**place, **told})], {"affine": affine})]

    def save(  # type: ignore[override]
        self, path: str, image: Any, *, progress: Progress, version: int | None = None, compression: int = 6
    ) -> None:
        """Write a volume.

        :param version: 1 or 2; 2 only if a size exceeds 32767, by default.
        :param compression: Of a file whose name ends with ".gz": 0 for none to 9.
        """
        if not path.lower().endswith((".nii", ".nii.gz")):
            raise _classes.InvalidArgument("a pair of .hdr and .img can be read, not written: .nii holds both in one")
        header, order = _new_header(image, version)
        with open(path, "wb") as file:
            if path.lower().endswith(".gz"):
                import gzip

                with gzip.GzipFile("", "wb", compression, file, mtime=0) as packed:
                    _write(packed, header, image, order, progress)
            else:
                _write(file, header, image, order, progress)


# ---- reading ---------------------------------------------------------------------------------------------------------


def _size_of_header(source: Source) -> int | None:
    head = _elements.beginning(source.head, 544)
    for order in ("little", "big"):
        size = int.from_bytes(head[:4], order)  # type: ignore[arg-type,unused-ignore]
        place, length, magics = _MAGIC.get(size, (0, 0, ()))
        if magics and head[place : place + length] in magics:
            return size
    return None


def _header_of_pair(source: Source) -> Source | None:
    """The header beside the elements of a pair, if that is what the source is."""
    name = source.name
    ending = next((end for end in (".img", ".img.gz") if name.lower().endswith(end)), None)
    if ending is None or source.path is None or not os.path.isfile(source.path):
        return None
    stem = name[: -len(ending)]
    for other in (".hdr", ".hdr.gz", ".HDR"):
        header = _elements.beside(source, stem + other)
        if header.path and os.path.isfile(header.path) and _size_of_header(header):
            return header
    return None


def _elements_of_pair(header: Source) -> Source:
    stem = header.name[: -len(".hdr.gz" if header.name.lower().endswith(".gz") else ".hdr")]
    for ending in (".img", ".img.gz", ".IMG"):
        source = _elements.beside(header, stem + ending)
        if source.path and os.path.isfile(source.path):
            return source
    raise _classes.Error(f"{header.name!r} has its elements in {stem + '.img'!r}, which is not there")


def _header(source: Source) -> tuple[Any, list[tuple[int, str]]]:
    import nibabel
    from nibabel.spatialimages import HeaderDataError

    size = _size_of_header(source)
    if size is None:
        raise _classes.Error(f"{source.name!r} is cut, or no header of NIfTI")
    head = _elements.beginning(source.head, 544)
    is_single = head[_MAGIC[size][0] + 1 : _MAGIC[size][0] + 2] == b"+"
    kind: Any = {
        (348, True): nibabel.Nifti1Header,
        (348, False): nibabel.nifti1.Nifti1PairHeader,
        (540, True): nibabel.Nifti2Header,
        (540, False): nibabel.nifti2.Nifti2PairHeader,
    }[size, is_single]
    if len(head) < size:
        raise _classes.Error(f"{source.name!r} is cut: {len(head)} bytes of a header of {size}")
    try:
        header = kind(head[:size])
    except HeaderDataError as error:
        raise _classes.Error(f"the header of {source.name!r} is wrong: {error}") from error
    return header, _extensions(source, header, size)


def _extensions(source: Source, header: Any, begin: int) -> list[tuple[int, str]]:
    end = int(header.get_data_offset()) if header.is_single else 0
    if end <= begin + 4:
        return []
    count = min(end, _MOST_EXTENSIONS)
    if source.head.startswith(b"\x1f\x8b"):
        block = bytes(_elements.Inflated(source, 0, count).upto(count)[begin:])
    else:
        with source.file() as file:
            file.seek(begin)
            block = file.read(count - begin)
    found = []
    place = 4 if block[:1] != b"\0" else len(block)
    order: Any = "little" if header.endianness == "<" else "big"
    while place + 8 <= len(block):
        size, code = (int.from_bytes(block[at : at + 4], order) for at in (place, place + 4))
        if not 8 <= size <= len(block) - place:
            break
        content = block[place + 8 : place + size].rstrip(b"\0")
        found.append((code, content.decode("utf-8", "backslashreplace")))
        place += size
    return found


def _array(source: Source, header: Any, sizes: tuple[int, ...], dtype: numpy.dtype[Any], letters: str) -> Any:
    offset = int(header.get_data_offset())
    if not source.head.startswith(b"\x1f\x8b"):
        return _elements.elements(source, offset, sizes, dtype, letters)
    if source.mode != "r":
        raise _classes.NotImplemented(f"{source.name!r} is compressed: its elements cannot be written in place")
    count = dtype.itemsize
    for size in sizes:
        count *= size
    return _elements.Inflated(source, 0, max(offset, 0) + count).elements(offset, sizes, dtype)


def _unit(header: Any) -> str:
    try:
        return _UNITS.get(header.get_xyzt_units()[0], "")
    except KeyError:
        return ""


def _affine(header: Any, name: str) -> tuple[Any, dict[str, Any]]:
    """The matrix that nibabel takes: sform, qform or the sizes of elements; the next of them if one is no image's.

    And what it tells of the place of an image, as `image_of` takes it.
    """
    choices = [header.get_best_affine, header.get_base_affine]
    if int(header["sform_code"]) > 0 and int(header["qform_code"]) > 0:
        choices.insert(1, header.get_qform)
    for choice in choices:
        found = _usable(choice, name)
        if found is not None:
            return found
    raise _classes.Error(f"{name!r} has no matrix that is one of an image")


def _usable(choice: Any, name: str) -> tuple[Any, dict[str, Any]] | None:
    try:
        affine = _elements.affine_with_extent(choice())
        return affine, _spatial.calibration_of_affine(affine, "RAS")
    except (_classes.Error, ValueError, numpy.linalg.LinAlgError) as error:
        warnings.warn(f"{name!r}: another matrix is taken, as {error}", UserWarning, stacklevel=6)
        return None


def _plain(header: Any, extensions: list[tuple[int, str]]) -> dict[str, Any]:
    plain = {name: header[name].item() if header[name].ndim == 0 else header[name] for name in header}
    if extensions:
        plain["extensions"] = [{"code": code, "content": text} for code, text in extensions]
    return plain


# ---- writing ---------------------------------------------------------------------------------------------------------


def _is_colour(image: Any, sizes: Mapping[str, int]) -> bool:
    colours = (ImageInterpretation.RGB, ImageInterpretation.SRGB)
    return sizes.get("C") in (3, 4) and image.dtype == numpy.uint8 and image.interpretation in colours


def _new_header(image: Any, version: int | None) -> tuple[Any, str]:
    import nibabel

    if version not in (None, 1, 2):
        raise _classes.InvalidArgument(f"version {version!r} of NIfTI is none: they are 1 and 2")
    sizes = _elements.sizes_of(image)
    is_colour = _is_colour(image, sizes)
    shape = [sizes.get(letter, 1) for letter in _AXES if not (letter == "C" and is_colour)]
    used = max(place for place, letter in enumerate(_AXES) if letter in sizes and not (letter == "C" and is_colour))
    shape = shape[: used + 1]
    if version is None:
        version = 2 if max(shape) > 32767 else 1
    header: Any = nibabel.Nifti1Header() if version == 1 else nibabel.Nifti2Header()
    kept = image.metadata.to_dict().get("NIfTI", {})
    for name in _KEPT:
        if name in kept:
            header[name] = kept[name]
    dtype = image.dtype
    if is_colour:
        dtype = numpy.dtype([(name, "u1") for name in "RGBA"[: sizes["C"]]])
    header.set_data_dtype(dtype)
    header.set_data_shape(shape)
    if image.interpretation == ImageInterpretation.LABEL:
        header.set_intent(_LABELS)
    _place(header, image, kept)
    # What has no place in a header. Its own unit, if that is none of the format's, is kept there, too.
    text = _elements.description_of(image, "NIfTI")
    unit = _elements.unit_of(image.unit)
    if unit and unit not in _UNITS.values():
        text = _elements.description_with(text, unit=image.unit)
    if text:
        header.extensions.append(nibabel.nifti1.Nifti1Extension(_JSON, text.encode()))
    header.set_data_offset(-(-(header.single_vox_offset + header.extensions.get_sizeondisk()) // 16) * 16)
    order = "".join(letter for letter in "CTZYX" if letter in sizes)
    return header, order.lstrip("C") + "C" if is_colour else order


def _place(header: Any, image: Any, kept: Mapping[str, Any]) -> None:
    affine = image.affine
    codes = [int(kept.get(name, 1)) for name in ("qform_code", "sform_code")]
    if not any(codes):
        codes = [1, 1]
    header.set_qform(affine, max(codes[0], 1))
    header.set_sform(affine, max(codes[1], 1))
    names = {unit: name for name, unit in _UNITS.items()}
    time = int(kept.get("xyzt_units", 0)) & 0x38
    header.set_xyzt_units(names.get(_elements.unit_of(image.unit), "unknown"), time)
    sizes = kept.get("pixdim")
    if sizes is not None and len(sizes) > 4:
        header["pixdim"][4:] = sizes[4:]


def _write(file: Any, header: Any, image: Any, order: str, progress: Progress) -> None:
    header.write_to(file)
    file.write(b"\0" * (int(header.get_data_offset()) - file.tell()))
    _elements.write_elements(file, image, order, progress)
