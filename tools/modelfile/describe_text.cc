// SPDX-License-Identifier: Apache-2.0
//
// The two ways to print a ModelInfo.
#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "modelfile/describe.h"

namespace TSEG::modelfile {
namespace {

using Json = nlohmann::ordered_json;

const char* ShapeName(Shape shape) {
  switch (shape) {
    case Shape::kV1:
      return "V1";
    case Shape::kV2:
      return "V2";
    default:
      return "V3";
  }
}

const char* SectionKindName(uint32_t kind) {
  switch (kind) {
    case 0:
      return "skipped";
    case 1:
      return "model";
    case 2:
      return "general table";
    default:
      return "unknown";
  }
}

template <typename... Args>
std::string Format(const char* format, Args... args) {
  const int n = std::snprintf(nullptr, 0, format, args...);
  std::string text(static_cast<size_t>(n > 0 ? n : 0) + 1, '\0');
  std::snprintf(text.data(), text.size(), format, args...);
  text.pop_back();
  return text;
}

Json VariableJson(const VariableInfo& v, Shape shape) {
  Json json = {{"name", v.name},
               {"dtype", v.dtype},
               {"inner", v.inner},
               {"outer", v.outer},
               {"padded_inner", v.padded_inner},
               {"padded_outer", v.padded_outer},
               {"offset", v.offset},
               {"min", v.min},
               {"max", v.max},
               {"rms", v.rms},
               {"not_finite", v.not_finite}};
  if (shape == Shape::kV3) {
    json["shift16"] = v.nShift16;
    json["aux16"] = v.nAux16;
    json["aux8"] = v.nAux8;
  }
  if (shape != Shape::kV2) json["shift8"] = v.nShift8;
  return json;
}

}  // namespace

Json ToJson(const ModelInfo& info) {
  Json json;
  json["file_bytes"] = info.file_bytes;
  json["container"] = info.is_container;
  if (info.is_container) {
    json["sections"] = Json::array();
    for (const auto& section : info.sections) {
      Json entry = {{"kind", section.kind}, {"kind_name", SectionKindName(section.kind)}, {"bytes", section.bytes}};
      if (!section.problem.empty()) entry["problem"] = section.problem;
      if (!section.model.empty()) entry["model"] = ToJson(section.model.front());
      json["sections"].push_back(std::move(entry));
    }
    return json;
  }
  json["network_type"] = info.network_type;
  json["type_code"] = info.type_code;
  json["shape"] = ShapeName(info.shape);
  json["header_offset"] = info.header_offset;
  json["data_offset"] = info.data_offset;
  json["data_bytes"] = info.data_bytes;
  json["keys"] = Json::array();
  for (const auto& [key, value] : info.keys) json["keys"].push_back({key, value});
  if (info.shape == Shape::kV2) json["scales"] = info.scales;
  json["variables"] = Json::array();
  for (const VariableInfo& v : info.variables) json["variables"].push_back(VariableJson(v, info.shape));
  return json;
}

std::string ToText(const ModelInfo& info) {
  std::string text = Format("file size     %llu bytes\n", static_cast<unsigned long long>(info.file_bytes));
  if (info.is_container) {
    text += Format("container     %zu sections\n", info.sections.size());
    for (size_t i = 0; i < info.sections.size(); ++i) {
      const auto& section = info.sections[i];
      text += Format("\nsection %zu: %s, %llu bytes\n", i, SectionKindName(section.kind), static_cast<unsigned long long>(section.bytes));
      if (!section.problem.empty()) text += "cannot be read: " + section.problem + "\n";
      if (!section.model.empty()) text += ToText(section.model.front());
    }
    return text;
  }
  text += Format("network type  %s (code %d, header %s)\n", info.network_type.c_str(), info.type_code, ShapeName(info.shape));
  text += Format("header        at byte %u\n", info.header_offset);
  text += Format("data          %llu bytes at byte %llu\n", static_cast<unsigned long long>(info.data_bytes),
                 static_cast<unsigned long long>(info.data_offset));
  text += Format("keys          %zu\n", info.keys.size());
  for (const auto& [key, value] : info.keys) text += Format("  %-14s = %s\n", key.c_str(), value.c_str());
  if (!info.scales.empty()) {
    text += "scales\n";
    for (size_t i = 0; i < info.scales.size(); ++i) text += Format("  %2zu  %.9g\n", i, static_cast<double>(info.scales[i]));
  }
  text += Format("variables     %zu\n", info.variables.size());
  const bool shifts = info.shape != Shape::kV2;
  int width = 4;
  for (const VariableInfo& v : info.variables) width = std::max(width, static_cast<int>(v.name.size()));
  text +=
      Format("  %-*s %-5s %5s %5s %9s %9s %9s%s\n", width, "name", "type", "outer", "inner", "min", "max", "rms", shifts ? " s16  s8" : "");
  for (const VariableInfo& v : info.variables) {
    text += Format("  %-*s %-5s %5d %5d %9.3g %9.3g %9.3g", width, v.name.c_str(), v.dtype.c_str(), v.outer, v.inner, v.min, v.max, v.rms);
    if (shifts) text += Format(" %3d %3d", v.nShift16, v.nShift8);
    if (v.not_finite > 0) text += Format("  %llu values are not finite", static_cast<unsigned long long>(v.not_finite));
    text += "\n";
  }
  return text;
}

}  // namespace TSEG::modelfile
