#include "zarnik/access/HTTPHeaders.h"

#include "core/Guarded.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/Checked.h"

#include <algorithm>
#include <string_view>

namespace zarnik {

namespace {

bool isTokenCharacter(char character) {
  using namespace std::string_view_literals;
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || "!#$%&'*+-.^_`|~"sv.find(character) != std::string_view::npos;
}

// Values may be secret, so that no message quotes one.
void check(std::string const & name, std::string const & value) {
  using namespace std::string_view_literals;
  if (name.empty() || !std::ranges::all_of(name, isTokenCharacter))
    throw InvalidArgument("the name of a header must be made of letters, digits and !#$%&'*+-.^_`|~");
  if (value.find_first_of("\r\n\0"sv) != std::string::npos)
    throw InvalidArgument(message("the value of the header {} has a line break or a null character", name));
}

} // namespace

HTTPHeaders::HTTPHeaders() = default;
HTTPHeaders::HTTPHeaders(HTTPHeaders const & other) : entries_(guarded([&] { return other.entries_; })) {}
HTTPHeaders::HTTPHeaders(HTTPHeaders && other) noexcept = default;
HTTPHeaders & HTTPHeaders::operator=(HTTPHeaders const & other) { return *this = HTTPHeaders(other); }
HTTPHeaders & HTTPHeaders::operator=(HTTPHeaders && other) noexcept = default;
HTTPHeaders::~HTTPHeaders() = default;

HTTPHeaders::HTTPHeaders(Entry const * entries, size_t entryCount) {
  if (entryCount != 0 && entries == nullptr)
    throw InvalidArgument(message("{} header entries were promised, but there is no array of them", entryCount));
  for (size_t i = 0; i < entryCount; ++i)
    add(entries[i]);
}

HTTPHeaders::HTTPHeaders(std::initializer_list<Entry> entries) : HTTPHeaders(entries.begin(), entries.size()) {}

size_t HTTPHeaders::size() const { return entries_.size(); }

HTTPHeaders::Entry const & HTTPHeaders::at(size_t index) const {
  if (index >= entries_.size())
    detail::throwIndexBeyond("header", index, entries_.size());
  return entries_[index];
}

void HTTPHeaders::add(Entry const & entry) { add(entry.name, entry.value); }

void HTTPHeaders::add(std::string const & name, std::string const & value) {
  check(name, value);
  guarded([&] { entries_.push_back({name, value}); });
}

} // namespace zarnik
