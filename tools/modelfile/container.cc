// SPDX-License-Identifier: Apache-2.0
//
// Containers: a prefix with a table of sections, and the sections one after another.
#include <cstring>
#include <stdexcept>

#include "modelfile/modelfile.h"
#include "res/model_format.h"

namespace TSEG::modelfile {
namespace {

void Put32(Bytes* file, uint64_t offset, uint32_t value) { std::memcpy(file->data() + offset, &value, sizeof value); }

}  // namespace

Bytes WriteContainer(const std::vector<Section>& sections) {
  if (sections.size() > 0xFFFF) throw std::runtime_error("more than 65535 sections");
  const auto count = static_cast<uint16_t>(sections.size());
  Bytes file(static_cast<size_t>(kPrefixSectionTable + count * kSectionBytes));
  const uint16_t header = static_cast<uint16_t>(kPrefixSectionTable);
  std::memcpy(file.data() + kPrefixHeaderSize, &header, sizeof header);
  std::memcpy(file.data() + kPrefixMagic, kModelMagic, sizeof kModelMagic);
  std::memcpy(file.data() + kPrefixContainerMagic, kModelMagic, sizeof kModelMagic);
  std::memcpy(file.data() + kPrefixSections, &count, sizeof count);
  for (size_t i = 0; i < sections.size(); ++i) {
    const uint64_t record = kPrefixSectionTable + i * kSectionBytes;
    if (file.size() + sections[i].bytes.size() > 0xFFFFFFFFu) throw std::runtime_error("a container holds less than 4 GiB");
    Put32(&file, record + kSectionKind, sections[i].kind);
    Put32(&file, record + kSectionLength, static_cast<uint32_t>(sections[i].bytes.size()));
    Put32(&file, record + kSectionOffset, static_cast<uint32_t>(file.size()));
    file.insert(file.end(), sections[i].bytes.begin(), sections[i].bytes.end());
  }
  Put32(&file, kPrefixFileSize, static_cast<uint32_t>(file.size()));
  return file;
}

bool IsContainer(const Bytes& bytes) {
  const ByteView file(bytes.data(), bytes.size());
  return file.matches(kPrefixContainerMagic, kModelMagic, kPrefixContainerMagicBytes) && file.u16(kPrefixSections).value_or(0) >= 1 &&
         file.u32(kPrefixFileSize).value_or(0) == bytes.size() && file.u32(kPrefixFileSize + 4).value_or(1) == 0;
}

std::vector<Section> ReadContainer(const Bytes& bytes) {
  if (!IsContainer(bytes)) throw std::runtime_error("not a container");
  const ByteView file(bytes.data(), bytes.size());
  const uint16_t count = *file.u16(kPrefixSections);
  const auto table = file.sub(kPrefixSectionTable, count * kSectionBytes);
  if (!table) throw std::runtime_error("the section table reaches beyond the end of the file");
  std::vector<Section> sections;
  for (uint64_t i = 0; i < count; ++i) {
    const uint64_t record = i * kSectionBytes;
    const auto content = file.sub(*table->u32(record + kSectionOffset), *table->u32(record + kSectionLength));
    if (!content) throw std::runtime_error("section " + std::to_string(i) + " reaches beyond the end of the file");
    sections.push_back({*table->u32(record + kSectionKind), Bytes(content->data(), content->data() + content->size())});
  }
  return sections;
}

}  // namespace TSEG::modelfile
