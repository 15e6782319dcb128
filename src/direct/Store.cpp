// What the package does with stored images: they are opened where they lie and written without the interpreter's lock;
// samples that somebody else has become an image.

#include "direct/CallWithoutLock.h"
#include "direct/Functions.h"
#include "direct/ProgressCall.h"
#include "direct/TypeTable.h"
#include "module/Buffers.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/core/Error.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/metadata/VariantDataValueFactory.h"
#include "zarnik/serialization/ImageWriter.h"
#include "zarnik/serialization/StoredFrame.h"
#include "zarnik/serialization/StoredImage.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/Writer.h"

#include <fmt/format.h>
#include <memory>
#include <string>

namespace zarnik::python {

namespace {

struct Types {
  swig_type_info * image = findType("std::shared_ptr< zarnik::ImageView > *");
  swig_type_info * frame = findType("std::shared_ptr< zarnik::DataFrameView > *");
  swig_type_info * stream = findType("std::shared_ptr< zarnik::StreamAccess > *");
  swig_type_info * random = findType("std::shared_ptr< zarnik::RandomAccess > *");
  swig_type_info * properties = findType("std::shared_ptr< zarnik::ImageProperties > *");
  swig_type_info * node = findType("std::shared_ptr< zarnik::MetadataNode > *");
  swig_type_info * writer = findType("std::shared_ptr< zarnik::Writer > *");
};
Types const & types() {
  static Types const found;
  return found;
}

PyObject * openImage(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto access = requiredPointer<RandomAccess>(object, types().random, "a RandomAccess");
    // Of a server the header comes over the network.
    auto image = callWithoutLock([access = std::move(access)] { return openImageView(access); }, CallLength::LONG);
    return wrapShared(std::move(image), types().image);
  });
}

/// Calls a function of a writer, which stops between two blocks when the user asks for it.
template <typename F> void runWriter(std::shared_ptr<Writer> writer, ProgressCall told, F function) {
  callWithoutLock(
      [writer = std::move(writer), told = std::move(told), function](Cancellation const & cancellation) {
        writer->setProgress(told.until(cancellation));
        function(*writer);
        writer->setProgress({});
      },
      CallLength::LONG);
}

PyObject * storeImage(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * imageObject = nullptr;
    PyObject * streamObject = nullptr;
    unsigned long long blockBytes = 0;
    int checksums = 1;
    PyObject * progress = nullptr;
    if (!PyArg_ParseTuple(arguments, "OOKp|O", &imageObject, &streamObject, &blockBytes, &checksums, &progress))
      return nullptr;
    auto const writer = makeImageWriter(viewOf(imageObject),
                                        requiredPointer<StreamAccess>(streamObject, types().stream, "a StreamAccess"));
    uint64_t const bytes = blockBytes;
    auto const areHashed = static_cast<uint8_t>(checksums != 0);
    if (bytes != 0)
      writer->setOption("block_bytes", VariantDataValueFactory::create(&bytes, 1));
    writer->setOption("checksums", VariantDataValueFactory::create(&areHashed, 1));
    runWriter(writer, ProgressCall(progress), [](Writer & all) { all.writeAll(); });
    return Reference::share(Py_None).release();
  });
}

PyObject * storeFrame(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * frameObject = nullptr;
    PyObject * streamObject = nullptr;
    PyObject * progress = nullptr;
    if (!PyArg_ParseTuple(arguments, "OOO", &frameObject, &streamObject, &progress))
      return nullptr;
    // The lock keeps others from changing the table. Signals are seen when the function is told.
    Cancellation const none;
    storeDataFrame(requiredPointer<DataFrameView>(frameObject, types().frame, "a DataFrameView"),
                   requiredPointer<StreamAccess>(streamObject, types().stream, "a StreamAccess"),
                   ProgressCall(progress).until(none));
    return Reference::share(Py_None).release();
  });
}

PyObject * imageWriter(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * imageObject = nullptr;
    PyObject * streamObject = nullptr;
    if (!PyArg_ParseTuple(arguments, "OO", &imageObject, &streamObject))
      return nullptr;
    return wrapShared(makeImageWriter(viewOf(imageObject),
                                      requiredPointer<StreamAccess>(streamObject, types().stream, "a StreamAccess")),
                      types().writer);
  });
}

PyObject * runSteps(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * object = nullptr;
    char const * name = nullptr;
    PyObject * progress = nullptr;
    if (!PyArg_ParseTuple(arguments, "Os|O", &object, &name, &progress))
      return nullptr;
    runWriter(requiredPointer<Writer>(object, types().writer, "a Writer"), ProgressCall(progress),
              [steps = std::string(name)](Writer & writer) {
                if (steps == "data") {
                  writer.writeData();
                } else if (steps == "all" || !writer.hasBegun()) {
                  writer.writeAll();
                } else if (!writer.isFinished()) {
                  writer.writeData();
                  writer.writeFinish();
                }
              });
    return Reference::share(Py_None).release();
  });
}

PyObject * imageOverBuffer(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * object = nullptr;
    PyObject * sizes = nullptr;
    unsigned long long type = 0;
    PyObject * propertiesObject = nullptr;
    PyObject * metadataObject = nullptr;
    if (!PyArg_ParseTuple(arguments, "OO!KOO", &object, &PyTuple_Type, &sizes, &type, &propertiesObject,
                          &metadataObject))
      return nullptr;
    VectorXu64 shape(static_cast<size_t>(PyTuple_Size(sizes)));
    for (size_t axis = 0; axis != shape.size(); ++axis)
      shape[axis] = PyLong_AsUnsignedLongLong(PyTuple_GetItem(sizes, static_cast<Py_ssize_t>(axis)));
    if (PyErr_Occurred())
      return nullptr;
    auto const properties =
        requiredPointer<ImageProperties>(propertiesObject, types().properties, "an ImageProperties");
    std::shared_ptr<MetadataNode> metadata;
    if (metadataObject != Py_None)
      metadata = requiredPointer<MetadataNode>(metadataObject, types().node, "a MetadataNode");

    BorrowedMemoryView::Memory memory;
    Reference pin;
    size_t size = 0;
    if (Buffer<void> writable; readWritableBuffer(object, writable)) {
      memory.first = writable.data;
      size = writable.size;
      pin = std::move(writable.pin);
    } else {
      auto readable = readableBuffer(object);
      memory.first = const_cast<void *>(readable.data);
      memory.protection = BorrowedMemoryView::Protection::READ_ONLY;
      size = readable.size;
      pin = std::move(readable.pin);
    }
    memory.indexer = Indexer(shape, DataType(type));
    if (memory.indexer.byteCount() != size)
      throw InvalidArgument(fmt::format("{} bytes are no image of shape {} and type {}, which has {}", size,
                                        shape.toString(), DataType(type).toString(), memory.indexer.byteCount()));
    memory.owner = std::make_shared<KeptObject>(std::move(pin));
    memory.name = "image over a buffer";
    std::shared_ptr<ImageView> image = std::make_shared<BorrowedMemoryView>(std::move(memory), properties, metadata);
    return wrapShared(std::move(image), types().image);
  });
}

PyMethodDef methods[] = {
    {"open_image", openImage, METH_O, "Return the stored image that a RandomAccess begins with, its samples not read."},
    {"store_image", storeImage, METH_VARARGS,
     "Write an image to a StreamAccess: bytes of a block, 0 for the usual ones, whether blocks have hashes, and the\n"
     "function that is told of the blocks."},
    {"store_frame", storeFrame, METH_VARARGS,
     "Write a table to a StreamAccess, and tell a function of the cells that are written and of all."},
    {"image_writer", imageWriter, METH_VARARGS, "Return the writer that stores an image in a StreamAccess."},
    {"run_writer", runSteps, METH_VARARGS,
     "Let a writer write \"all\", the \"data\" that is missing, or the \"rest\" of the file, whatever that is, and "
     "tell\n"
     "a function of the blocks."},
    {"image_over_buffer", imageOverBuffer, METH_VARARGS,
     "Return an image over a buffer, first dimension fastest: its sizes, id of the data type, properties, metadata."},
    {}};
DirectFunctions const registered(methods);

} // namespace

} // namespace zarnik::python
