#include "frames/ArrowTypes.h"

#include <utility>

namespace zarnik {
namespace {

constexpr std::pair<std::string_view, DataTypeId> TYPES[] = {
    {"C", DataTypeId::UINT8},        {"c", DataTypeId::INT8},        {"S", DataTypeId::UINT16},
    {"s", DataTypeId::INT16},        {"I", DataTypeId::UINT32},      {"i", DataTypeId::INT32},
    {"L", DataTypeId::UINT64},       {"l", DataTypeId::INT64},       {"f", DataTypeId::FLOAT},
    {"g", DataTypeId::DOUBLE},       {"U", DataTypeId::UTF8_STRING}, {"u", DataTypeId::UTF8_STRING},
    {"vu", DataTypeId::UTF8_STRING},
};

// By how the format begins; the longer beginnings come first.
constexpr std::pair<std::string_view, std::string_view> OTHERS[] = {
    {"tts", "time"},
    {"ttm", "time"},
    {"ttu", "time"},
    {"ttn", "time"},
    {"td", "date"},
    {"ts", "timestamp"},
    {"tD", "duration"},
    {"ti", "interval"},
    {"t", "temporal"},
    {"+s", "struct"},
    {"+l", "list"},
    {"+L", "list"},
    {"+vl", "list"},
    {"+vL", "list"},
    {"+w", "fixed-size list"},
    {"+m", "map"},
    {"+u", "union"},
    {"+r", "run-end encoded"},
    {"+", "nested"},
    {"b", "boolean"},
    {"n", "null"},
    {"e", "half-precision float"},
    {"d:", "decimal"},
    {"z", "binary"},
    {"Z", "binary"},
    {"vz", "binary"},
    {"w", "binary"},
};

} // namespace

std::string_view arrowFormat(DataType dataType) {
  for (auto const & [format, id] : TYPES)
    if (dataType == id)
      return format;
  return {};
}

DataType typeOfArrowFormat(std::string_view format) {
  for (auto const & [name, id] : TYPES)
    if (format == name)
      return id;
  return {};
}

std::string_view nameOfArrowFormat(std::string_view format) {
  for (auto const & [beginning, name] : OTHERS)
    if (format.starts_with(beginning))
      return name;
  return "unknown";
}

} // namespace zarnik
