// SPDX-License-Identifier: Apache-2.0
//
// The header of a .npy file is the text of a Python dictionary; the three entries that matter are picked out of it.
#include "modelfile/npy.h"

#include <cctype>
#include <cstring>
#include <stdexcept>

#include "base/byte_cursor.h"

namespace TSEG::modelfile {
namespace {

[[noreturn]] void Refuse(const std::string& what) { throw std::runtime_error("not a usable .npy file: " + what); }

// The text behind 'key': in the header's dictionary.
std::string AfterKey(const std::string& header, const std::string& key) {
  size_t at = header.find("'" + key + "'");
  if (at == std::string::npos) Refuse("no " + key + " in its header");
  at = header.find(':', at);
  if (at == std::string::npos) Refuse("no value for " + key + " in its header");
  at = header.find_first_not_of(' ', at + 1);
  return at == std::string::npos ? std::string() : header.substr(at);
}

std::vector<int64_t> ParseShape(const std::string& text) {
  if (text.empty() || text[0] != '(') Refuse("its shape is not a tuple");
  const size_t end = text.find(')');
  if (end == std::string::npos) Refuse("its shape is not closed");
  std::vector<int64_t> shape;
  int64_t number = -1;
  for (size_t i = 1; i <= end; ++i) {
    const char c = text[i];
    if (std::isdigit(static_cast<unsigned char>(c)) != 0) {
      number = (number < 0 ? 0 : number) * 10 + (c - '0');
      if (number > 0x7FFFFFFF) Refuse("a dimension is too large");
    } else if (c == ',' || c == ')') {
      if (number >= 0) shape.push_back(number);
      number = -1;
    } else if (c != ' ') {
      Refuse("its shape is not a tuple of numbers");
    }
  }
  return shape;
}

template <typename T>
void Take(const ByteView& data, std::vector<double>* out) {
  for (size_t i = 0; i < out->size(); ++i) {
    T value;
    std::memcpy(&value, data.data() + i * sizeof value, sizeof value);
    (*out)[i] = static_cast<double>(value);
  }
}

}  // namespace

NpyArray ParseNpy(const Bytes& bytes) {
  const ByteView file(bytes.data(), bytes.size());
  if (!file.holds(0, 12) || std::memcmp(bytes.data(), "\x93NUMPY", 6) != 0) Refuse("the magic word is missing");
  const int major = bytes[6];
  if (major < 1 || major > 3) Refuse("version " + std::to_string(major));
  const uint64_t header_at = major == 1 ? 10 : 12;
  const uint64_t header_bytes = major == 1 ? *file.u16(8) : *file.u32(8);
  const auto header_view = file.sub(header_at, header_bytes);
  if (!header_view) Refuse("it is cut short in its header");
  const std::string header(reinterpret_cast<const char*>(header_view->data()), header_view->size());

  NpyArray array;
  const std::string descr = AfterKey(header, "descr");
  if (descr.size() < 5 || descr[0] != '\'') Refuse("its type is not a simple one");
  array.descr = descr.substr(1, 3);
  const size_t width = array.descr == "<f8" ? 8 : (array.descr == "<f4" || array.descr == "<i4" ? 4 : (array.descr == "<i2" ? 2 : 0));
  if (width == 0 || descr[4] != '\'') Refuse("its type " + descr.substr(0, descr.find(',')) + " is none of '<f4', '<f8', '<i2', '<i4'");
  if (AfterKey(header, "fortran_order").rfind("False", 0) != 0) Refuse("its columns stand one after another (Fortran order)");
  array.shape = ParseShape(AfterKey(header, "shape"));
  if (array.shape.empty() || array.shape.size() > 2)
    Refuse("it has " + std::to_string(array.shape.size()) + " dimensions instead of 1 or 2");

  uint64_t count = 1;
  for (const int64_t n : array.shape) count *= static_cast<uint64_t>(n);
  const uint64_t data_at = header_at + header_bytes;
  if (count > bytes.size() || !file.holds(data_at, count * width)) Refuse("it is cut short in its data");
  if (data_at + count * width != bytes.size()) Refuse("something stands behind its data");
  const ByteView data = *file.sub(data_at, count * width);
  array.data.resize(static_cast<size_t>(count));
  if (array.descr == "<f4") Take<float>(data, &array.data);
  if (array.descr == "<f8") Take<double>(data, &array.data);
  if (array.descr == "<i2") Take<int16_t>(data, &array.data);
  if (array.descr == "<i4") Take<int32_t>(data, &array.data);
  return array;
}

}  // namespace TSEG::modelfile
