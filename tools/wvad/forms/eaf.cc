// SPDX-License-Identifier: Apache-2.0
//
// An annotation document of ELAN (EAF 3.0, XML by pugixml): a tier a channel with an annotation a sentence, whose words are for people to
// fill in. The header names the recording and has how it came about as the property "wvad".
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <pugixml.hpp>
#include <sstream>

#include "wvad/file_system.h"
#include "wvad/forms/document_report.h"
#include "wvad/forms/forms.h"
#include "wvad/provenance.h"
#include "wvad/recording_name.h"
#include "wvad/report_json.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// Now, or what $SOURCE_DATE_EPOCH says, for results that can be made again bit for bit.
std::string DateText() {
  std::time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  if (const char* fixed = std::getenv("SOURCE_DATE_EPOCH")) seconds = static_cast<std::time_t>(std::atoll(fixed));
  std::tm date{};
  char text[64] = "";
  if (DateOf(seconds, &date)) std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &date);
  return text;
}

const char* MimeType(const std::string& name) {
  struct Row {
    const char* ending;
    const char* type;
  };
  constexpr Row kRows[] = {{".wav", "audio/x-wav"}, {".mp3", "audio/mpeg"}, {".ogg", "audio/ogg"}, {".flac", "audio/flac"}};
  for (const Row& row : kRows) {
    if (PathOf(name).extension() == row.ending) return row.type;
  }
  return "audio/*";
}

void AddAttribute(pugi::xml_node node, const char* name, const std::string& value) { node.append_attribute(name).set_value(value.c_str()); }

void AddProperty(pugi::xml_node header, const char* name, const std::string& value) {
  pugi::xml_node property = header.append_child("PROPERTY");
  AddAttribute(property, "NAME", name);
  property.append_child(pugi::node_pcdata).set_value(value.c_str());
}

void AddHeader(pugi::xml_node document, const HeardRecording& recording, const ReportShape& shape) {
  pugi::xml_node header = document.append_child("HEADER");
  AddAttribute(header, "MEDIA_FILE", "");
  AddAttribute(header, "TIME_UNITS", "milliseconds");
  if (recording.name != "-") {
    pugi::xml_node media = header.append_child("MEDIA_DESCRIPTOR");
    AddAttribute(media, "MEDIA_URL", FileUrl(recording.name));
    AddAttribute(media, "MIME_TYPE", MimeType(recording.name));
  }
  if (!shape.details.provenance.empty()) {
    const std::string& made_by = MadeBy(recording.end, shape.details.provenance);
    AddProperty(header, "wvad", made_by);
    AddProperty(header, "wvad recording", ProvenanceLine(recording.name, recording.end, made_by));
  }
  AddProperty(header, "lastUsedAnnotationId", std::to_string(recording.sentences.size()));
}

void AddSlot(pugi::xml_node order, size_t number, double seconds) {
  pugi::xml_node slot = order.append_child("TIME_SLOT");
  AddAttribute(slot, "TIME_SLOT_ID", "ts" + std::to_string(number));
  AddAttribute(slot, "TIME_VALUE", Fixed(seconds * 1000, 0));
}

// Sentence i (from 1) has the slots 2i-1 and 2i.
void AddTier(pugi::xml_node document, const HeardRecording& recording, int lane) {
  pugi::xml_node tier = document.append_child("TIER");
  AddAttribute(tier, "LINGUISTIC_TYPE_REF", "default-lt");
  AddAttribute(tier, "TIER_ID", lane > 0 ? "speech " + std::to_string(lane) : "speech");
  for (size_t i = 0; i < recording.sentences.size(); ++i) {
    if (recording.sentences[i].channel != lane) continue;
    pugi::xml_node annotation = tier.append_child("ANNOTATION").append_child("ALIGNABLE_ANNOTATION");
    AddAttribute(annotation, "ANNOTATION_ID", "a" + std::to_string(i + 1));
    AddAttribute(annotation, "TIME_SLOT_REF1", "ts" + std::to_string(2 * i + 1));
    AddAttribute(annotation, "TIME_SLOT_REF2", "ts" + std::to_string(2 * i + 2));
    annotation.append_child("ANNOTATION_VALUE");
  }
}

std::string Eaf(const HeardRecording& recording, const ReportShape& shape) {
  pugi::xml_document xml;
  pugi::xml_node declaration = xml.append_child(pugi::node_declaration);
  AddAttribute(declaration, "version", "1.0");
  AddAttribute(declaration, "encoding", "UTF-8");
  pugi::xml_node document = xml.append_child("ANNOTATION_DOCUMENT");
  AddAttribute(document, "AUTHOR", "wvad");
  AddAttribute(document, "DATE", DateText());
  AddAttribute(document, "FORMAT", "3.0");
  AddAttribute(document, "VERSION", "3.0");
  AddAttribute(document, "xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance");
  AddAttribute(document, "xsi:noNamespaceSchemaLocation", "http://www.mpi.nl/tools/elan/EAFv3.0.xsd");
  AddHeader(document, recording, shape);
  pugi::xml_node order = document.append_child("TIME_ORDER");
  for (size_t i = 0; i < recording.sentences.size(); ++i) {
    AddSlot(order, 2 * i + 1, recording.begin_s(recording.sentences[i]));
    AddSlot(order, 2 * i + 2, recording.end_s(recording.sentences[i]));
  }
  for (const int lane : recording.lanes()) AddTier(document, recording, lane);
  pugi::xml_node type = document.append_child("LINGUISTIC_TYPE");
  AddAttribute(type, "GRAPHIC_REFERENCES", "false");
  AddAttribute(type, "LINGUISTIC_TYPE_ID", "default-lt");
  AddAttribute(type, "TIME_ALIGNABLE", "true");
  std::ostringstream text;
  xml.save(text, "  ");
  return text.str();
}

}  // namespace

std::unique_ptr<Report> MakeEaf(Output& output, const ReportShape& shape) { return std::make_unique<DocumentReport>(output, shape, Eaf); }

}  // namespace TSEG::tool
