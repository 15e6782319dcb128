#include "direct/PythonFile.h"

#include "direct/Functions.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <mutex>
#include <optional>

namespace zarnik::python {

namespace {

// The methods of a file object that the interface needs. To be used with the interpreter's lock.
class PythonFile {
public:
  explicit PythonFile(PyObject * file) : file_(Reference::share(file)) {
    auto const kind = Reference::steal(PyObject_GetAttrString(reinterpret_cast<PyObject *>(Py_TYPE(file)), "__name__"));
    name_ = textOf(kind.get());
    canRead_ = has(file, "readable", "readinto") || has(file, "readable", "read");
    readsInto_ = PyObject_HasAttrString(file, "readinto") != 0;
    canWrite_ = has(file, "writable", "write");
    canSeek_ = has(file, "seekable", "seek");
    if (PyObject_HasAttrString(file, "read") || PyObject_HasAttrString(file, "write"))
      return;
    PyErr_Format(PyExc_TypeError, "a file has the methods read or write, which %R lacks", file);
    throw PendingError();
  }

  bool canRead() const { return canRead_; }
  bool canWrite() const { return canWrite_; }
  bool canSeek() const { return canSeek_; }
  std::string name() const { return fmt::format("Python file of type {}", name_); }

  size_t read(void * destination, size_t size) const {
    auto * const bytes = static_cast<char *>(destination);
    size_t done = 0;
    while (done < size) {
      auto const most = std::min(size - done, MOST);
      auto const count = readsInto_ ? readInto(bytes + done, most) : readCopy(bytes + done, most);
      if (count == 0)
        break;
      done += count;
    }
    return done;
  }

  void write(void const * source, size_t size) const {
    auto * const bytes = const_cast<char *>(static_cast<char const *>(source));
    size_t done = 0;
    while (done < size) {
      auto const most = static_cast<Py_ssize_t>(std::min(size - done, MOST));
      // Whatever the file keeps must be its own: the memory is the caller's.
      auto const copy = Reference::steal(PyBytes_FromStringAndSize(bytes + done, std::min(most, COPIED)));
      auto const result = copy ? call("write", "O", copy.get()) : Reference();
      if (!result)
        throw CausedError(fmt::format("cannot write to a {}", name()));
      // Files of the kind that tells nothing have taken all.
      auto const count = result.get() == Py_None ? PyBytes_Size(copy.get()) : PyLong_AsSsize_t(result.get());
      if (count <= 0 || count > PyBytes_Size(copy.get()))
        fail("write");
      done += static_cast<size_t>(count);
    }
  }

  uint64_t seek(int64_t offset, int whence) const {
    auto const result = call("seek", "Li", static_cast<long long>(offset), whence);
    if (!result)
      throw CausedError(fmt::format("cannot seek in a {}", name()));
    return whence == 0 ? static_cast<uint64_t>(offset) : tell();
  }

  uint64_t tell() const {
    auto const result = call("tell", nullptr);
    auto const position = result ? PyLong_AsLongLong(result.get()) : -1;
    if (position < 0)
      fail("tell the position of");
    return static_cast<uint64_t>(position);
  }

  uint64_t size() const {
    auto const position = tell();
    auto const end = seek(0, 2);
    seek(static_cast<int64_t>(position), 0);
    return end;
  }

  void flush() const {
    if (PyObject_HasAttrString(file_.get(), "flush") && !call("flush", nullptr))
      throw CausedError(fmt::format("cannot flush a {}", name()));
  }

private:
  static constexpr size_t MOST = size_t{1} << 30;
  static constexpr Py_ssize_t COPIED = Py_ssize_t{16} << 20;

  // What a method of a file says of it, else whether it has the other method.
  static bool has(PyObject * file, char const * question, char const * method) {
    if (!PyObject_HasAttrString(file, method))
      return false;
    if (!PyObject_HasAttrString(file, question))
      return true;
    auto const answer = Reference::steal(PyObject_CallMethod(file, question, nullptr));
    if (!answer)
      throw PendingError();
    return PyObject_IsTrue(answer.get()) == 1;
  }

  template <typename... Arguments>
  Reference call(char const * method, char const * format, Arguments... arguments) const {
    return Reference::steal(PyObject_CallMethod(file_.get(), method, format, arguments...));
  }

  [[noreturn]] void fail(char const * operation) const {
    if (PyErr_Occurred())
      throw CausedError(fmt::format("cannot {} a {}", operation, name()));
    throw Error(fmt::format("cannot {} a {}: its method gave an unusable result", operation, name()));
  }

  size_t readInto(char * destination, size_t size) const {
    // The file may keep the view: it must lead nowhere when the memory has gone.
    constexpr int writable = 0x200; // PyBUF_WRITE, which the headers of the stable ABI lack
    auto const view = Reference::steal(PyMemoryView_FromMemory(destination, static_cast<Py_ssize_t>(size), writable));
    auto const result = view ? call("readinto", "O", view.get()) : Reference();
    auto const error = result ? nullptr : std::make_unique<CausedError>(fmt::format("cannot read a {}", name()));
    if (view && !Reference::steal(PyObject_CallMethod(view.get(), "release", nullptr)))
      PyErr_Clear();
    if (error)
      throw CausedError(*error);
    auto const count = PyLong_AsSsize_t(result.get());
    if (count < 0 || static_cast<size_t>(count) > size)
      fail("read");
    return static_cast<size_t>(count);
  }

  size_t readCopy(char * destination, size_t size) const {
    auto const result = call("read", "n", std::min(static_cast<Py_ssize_t>(size), COPIED));
    if (!result)
      throw CausedError(fmt::format("cannot read a {}", name()));
    char * bytes = nullptr;
    Py_ssize_t count = 0;
    if (PyBytes_AsStringAndSize(result.get(), &bytes, &count) != 0 || static_cast<size_t>(count) > size)
      fail("read");
    std::copy_n(bytes, count, destination);
    return static_cast<size_t>(count);
  }

  KeptObject file_;
  std::string name_;
  bool canRead_;
  bool canWrite_;
  bool canSeek_;
  bool readsInto_;
};

class PythonStream final : public StreamAccess {
public:
  explicit PythonStream(PyObject * file) : file_(file) {
    if (file_.canSeek())
      position_ = file_.tell();
  }

  StreamAccessCapabilitySet capabilities() const override {
    StreamAccessCapabilitySet result;
    if (file_.canRead())
      result.add(StreamAccessCapability::READ);
    if (file_.canWrite())
      result.add(StreamAccessCapability::WRITE);
    if (file_.canSeek())
      result.add(StreamAccessCapability::SEEK);
    return result;
  }
  bool eof() const override { return metEnd_; }
  bool fail() const override { return false; }
  std::string toString() const override { return fmt::format("stream over a {}", file_.name()); }

  uint8_t peek() override {
    need(StreamAccessCapability::READ, "be read");
    WithLock const locked;
    if (!peeked_) {
      uint8_t byte = 0;
      if (file_.read(&byte, 1) != 1)
        throw Error(
            fmt::format("there is no byte to peek at: the cursor is at {}, the end of {}", position_, toString()));
      if (file_.canSeek())
        file_.seek(static_cast<int64_t>(position_), 0);
      else
        peeked_ = byte;
      return byte;
    }
    return *peeked_;
  }

  void flush() override {
    WithLock const locked;
    file_.flush();
  }

  size_t tell() override { return position_; }

  void seek(int64_t offset, SeekOrigin origin) override {
    need(StreamAccessCapability::SEEK, "seek");
    if (origin < SeekOrigin::BEGIN || origin > SeekOrigin::END)
      throw InvalidArgument(fmt::format("seek origin {} is unknown, allowed are 1 (BEGIN), 2 (CURRENT) and 3 (END)",
                                        static_cast<int>(origin)));
    WithLock const locked;
    uint64_t const base = origin == SeekOrigin::BEGIN ? 0 : origin == SeekOrigin::CURRENT ? position_ : file_.size();
    constexpr auto most = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
    auto const distance = offset < 0 ? ~static_cast<uint64_t>(offset) + 1 : static_cast<uint64_t>(offset);
    if (offset < 0 ? distance > base : distance > most - std::min(base, most))
      throw InvalidArgument(fmt::format("cannot seek to {} + {}, before the beginning or beyond 2^63", base, offset));
    auto const target = offset < 0 ? base - distance : base + distance;
    if (!file_.canWrite() && target > position_) {
      if (auto const size = file_.size(); target > size)
        throw InvalidArgument(
            fmt::format("cannot seek to {}: the stream is of fixed size, allowed are 0 to {}", target, size));
    }
    file_.seek(static_cast<int64_t>(target), 0);
    position_ = target;
    metEnd_ = false;
  }

  size_t read(void * destination, size_t size) override {
    need(StreamAccessCapability::READ, "be read");
    if (size == 0)
      return 0;
    WithLock const locked;
    auto * bytes = static_cast<uint8_t *>(destination);
    size_t count = 0;
    if (peeked_) {
      *bytes++ = *peeked_;
      peeked_.reset();
      ++count;
    }
    count += file_.read(bytes, size - count);
    position_ += count;
    metEnd_ = metEnd_ || count < size;
    return count;
  }

  size_t write(void const * source, size_t size) override {
    need(StreamAccessCapability::WRITE, "be written");
    WithLock const locked;
    file_.write(source, size);
    position_ += size;
    return size;
  }

private:
  void need(StreamAccessCapability capability, char const * cannot) const {
    if (!support(capability))
      throw NotImplemented(fmt::format("{} cannot {}", toString(), cannot));
  }

  PythonFile file_;
  uint64_t position_ = 0;
  std::optional<uint8_t> peeked_; // of a file that cannot go back
  bool metEnd_ = false;
};

class PythonRandom final : public RandomAccess {
public:
  explicit PythonRandom(PyObject * file) : file_(file) {
    if (!file_.canSeek())
      throw Error(fmt::format("{} cannot seek, which access at any offset needs", file_.name()));
  }

  RandomAccessCapabilitySet capabilities() const override {
    RandomAccessCapabilitySet result;
    if (file_.canRead())
      result.add(RandomAccessCapability::READ);
    if (file_.canWrite())
      result.add(RandomAccessCapability::WRITE);
    return result;
  }
  size_t size() const override {
    WithLock const locked;
    auto const turn = takeTurn();
    return file_.size();
  }
  std::string toString() const override { return file_.name(); }

  size_t read(size_t offset, void * destination, size_t size) override {
    need(RandomAccessCapability::READ, "be read");
    WithLock const locked;
    auto const turn = takeTurn();
    auto const end = file_.seek(0, 2);
    if (offset >= end)
      return 0;
    file_.seek(static_cast<int64_t>(offset), 0);
    return file_.read(destination, static_cast<size_t>(std::min<uint64_t>(size, end - offset)));
  }

  size_t write(size_t offset, void const * source, size_t size) override {
    need(RandomAccessCapability::WRITE, "be written");
    WithLock const locked;
    auto const turn = takeTurn();
    auto const end = file_.seek(0, 2);
    if (offset >= end)
      return 0;
    auto const count = static_cast<size_t>(std::min<uint64_t>(size, end - offset));
    file_.seek(static_cast<int64_t>(offset), 0);
    file_.write(source, count);
    return count;
  }

  void resize(size_t) override { throw NotImplemented(fmt::format("{} cannot be resized", toString())); }

private:
  // Seeking and reading belong together, but Python changes threads in between. Nobody waits here with the
  // interpreter's lock, which the one who is waited for needs.
  std::unique_lock<std::mutex> takeTurn() const {
    std::unique_lock turn(mutex_, std::try_to_lock);
    if (!turn) {
      WithoutLock const released;
      turn.lock();
    }
    return turn;
  }

  void need(RandomAccessCapability capability, char const * cannot) const {
    if (!support(capability))
      throw NotImplemented(fmt::format("{} cannot {}", toString(), cannot));
  }

  PythonFile file_;
  mutable std::mutex mutex_;
};

} // namespace

std::shared_ptr<StreamAccess> streamOverPythonFile(PyObject * file) { return std::make_shared<PythonStream>(file); }

std::shared_ptr<RandomAccess> randomOverPythonFile(PyObject * file) { return std::make_shared<PythonRandom>(file); }

} // namespace zarnik::python
