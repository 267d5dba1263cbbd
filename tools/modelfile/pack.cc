// SPDX-License-Identifier: Apache-2.0
//
// The description is read strictly: an entry that is not known is an error, since it is most likely a misspelt one.
#include "modelfile/pack.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>

#include "modelfile/npy.h"

namespace TSEG::modelfile {
namespace {

using Json = nlohmann::ordered_json;

[[noreturn]] void Refuse(const std::string& what) { throw std::runtime_error("model.json: " + what); }

void RefuseStrangers(const Json& object, const std::set<std::string>& known, const std::string& where) {
  for (const auto& item : object.items()) {
    if (known.count(item.key()) == 0) Refuse("unknown entry \"" + item.key() + "\" in " + where);
  }
}

std::string Text(const Json& value, const std::string& what) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_boolean()) return value.get<bool>() ? "true" : "false";
  if (value.is_number_unsigned()) return std::to_string(value.get<uint64_t>());
  if (value.is_number_integer()) return std::to_string(value.get<int64_t>());
  Refuse(what + " is neither a text nor an integer");
}

std::string Required(const Json& object, const char* name, const std::string& where) {
  if (!object.contains(name) || !object.at(name).is_string()) Refuse("\"" + std::string(name) + "\" is missing in " + where);
  return object.at(name).get<std::string>();
}

int32_t Shift(const Json& object, const char* name, const std::string& where) {
  if (!object.contains(name)) return 0;
  if (!object.at(name).is_number_integer()) Refuse("\"" + std::string(name) + "\" is not an integer in " + where);
  const Json& value = object.at(name);
  const bool beyond = value.is_number_unsigned() && value.get<uint64_t>() > INT32_MAX;
  if (beyond || value.get<int64_t>() < INT32_MIN) Refuse("\"" + std::string(name) + "\" is more than 32 bits hold in " + where);
  return value.get<int32_t>();
}

void ReadKeys(const Json& keys, ModelContents* contents) {
  if (keys.is_object()) {
    for (const auto& item : keys.items()) contents->keys.emplace_back(item.key(), Text(item.value(), "the value of key " + item.key()));
    return;
  }
  if (!keys.is_array()) Refuse("\"keys\" is neither an object nor a list of pairs");
  for (const Json& pair : keys) {
    if (!pair.is_array() || pair.size() != 2) Refuse("\"keys\" holds something that is not a pair");
    contents->keys.emplace_back(Text(pair[0], "a key"), Text(pair[1], "a value"));
  }
}

void ReadScales(const Json& scales, ModelContents* contents) {
  if (contents->shape != Shape::kV2) Refuse("\"scales\" belong to MLP_RES_RNNCNNPAD28 alone");
  if (!scales.is_array() || scales.size() > contents->fScale.size()) Refuse("\"scales\" is not a list of at most 16 numbers");
  for (size_t i = 0; i < scales.size(); ++i) {
    if (!scales[i].is_number()) Refuse("\"scales\" holds something that is not a number");
    contents->fScale[i] = scales[i].get<float>();
  }
}

Variable ReadVariable(const std::string& folder, const Json& entry, Shape shape, std::vector<std::string>* files) {
  if (!entry.is_object()) Refuse("\"variables\" holds something that is not an object");
  Variable variable;
  variable.name = Required(entry, "name", "a variable");
  const std::string where = "variable " + variable.name;
  RefuseStrangers(entry, {"name", "file", "dtype", "shift", "shift16", "aux16", "shift8", "aux8"}, where);
  const std::string file = entry.contains("file") ? Required(entry, "file", where) : variable.name + ".npy";
  if (files != nullptr) files->push_back(folder + "/" + file);
  NpyArray array;
  try {
    array = ParseNpy(ReadFileBytes(folder + "/" + file));
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error(file + ": " + failure.what());
  }
  variable.dtype = array.descr == "<i2" ? "short" : (array.descr == "<i4" ? "int" : "float");
  if (entry.contains("dtype")) variable.dtype = Required(entry, "dtype", where);
  variable.outer = static_cast<int32_t>(array.shape[0]);
  variable.inner = array.shape.size() == 2 ? static_cast<int32_t>(array.shape[1]) : 1;
  variable.data = std::move(array.data);
  const bool any_shift =
      entry.contains("shift") || entry.contains("shift16") || entry.contains("shift8") || entry.contains("aux16") || entry.contains("aux8");
  if (any_shift && shape == Shape::kV2) Refuse("shifts do not belong to MLP_RES_RNNCNNPAD28, in " + where);
  variable.nShift16 = variable.nShift8 = Shift(entry, "shift", where);
  if (entry.contains("shift16")) variable.nShift16 = Shift(entry, "shift16", where);
  if (entry.contains("shift8")) variable.nShift8 = Shift(entry, "shift8", where);
  variable.nAux16 = Shift(entry, "aux16", where);
  variable.nAux8 = Shift(entry, "aux8", where);
  return variable;
}

}  // namespace

ModelContents ReadFolder(const std::string& folder, std::vector<std::string>* files) {
  if (files != nullptr) files->push_back(folder + "/model.json");
  const Bytes text = ReadFileBytes(folder + "/model.json");
  Json description;
  try {
    description = Json::parse(text.begin(), text.end());
  } catch (const Json::exception& failure) {
    Refuse(failure.what());
  }
  if (!description.is_object()) Refuse("not an object");
  RefuseStrangers(description, {"network_type", "keys", "scales", "variables", "comment"}, "the description");
  ModelContents contents;
  contents.network_type = Required(description, "network_type", "the description");
  contents.shape = ShapeOfType(contents.network_type);
  if (description.contains("keys")) ReadKeys(description["keys"], &contents);
  if (description.contains("scales")) ReadScales(description["scales"], &contents);
  if (!description.contains("variables") || !description["variables"].is_array()) Refuse("\"variables\" is not a list");
  for (const Json& entry : description["variables"]) contents.variables.push_back(ReadVariable(folder, entry, contents.shape, files));
  return contents;
}

}  // namespace TSEG::modelfile
