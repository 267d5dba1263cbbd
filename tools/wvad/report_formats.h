// SPDX-License-Identifier: Apache-2.0
//
// The forms that a report takes, in one table. Options, help and documents go by it: a row is all that a new form needs beside its class.
#ifndef WVAD_WVAD_REPORT_FORMATS_H_
#define WVAD_WVAD_REPORT_FORMATS_H_

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "wvad/output.h"
#include "wvad/report.h"

namespace TSEG::tool {

// Readers drop a caption without any text, so an empty one holds a blank.
constexpr const char* kEmptyCaption = " ";

// What single forms want to know beyond the sentences.
struct FormDetails {
  std::string channel = "mix";          // that is listened to: "mix", "all" or its number from 1
  std::string provenance;               // how the results came about (provenance.h), JSON in one line; empty: nothing is said of it
  std::string printf;                   // the format of --printf
  int fps = 25;                         // frames a second of video time codes
  std::string caption = kEmptyCaption;  // the words of each caption
};

// What is told, whatever the form.
struct ReportShape {
  bool several = false;   // more than one file, so that each is named
  bool summary = false;   // a table closes with its sums
  bool saved = false;     // sentences have the names of their files as a further column or member
  bool channels = false;  // and the channel that they were heard on
  FormDetails details = {};
};

// What a form has room for.
enum class Room { kMeasures, kSavedNames, kSentences };
// How a form that holds several recordings tells them apart: it does not (it holds a single one), by their names, or by their ids alone.
enum class Holds { kOne, kByName, kById };
// Into a folder: a file for each recording, or one for all of the run, as tools expect it that take the folder as a whole.
enum class FilePer { kRecording, kRun };

struct ReportFormat {
  const char* name;
  const char* words;   // what it is, for the help
  const char* ending;  // of its files, or the whole name of the one file of a run
  Room room;
  Holds holds;
  FilePer file_per;
  std::string (*unfit)(const std::string& name);  // why it cannot tell of a recording of this name (recording_name.h)
  std::unique_ptr<Report> (*make)(Output& output, const ReportShape& shape);
};

// The first one is the default.
std::span<const ReportFormat> ReportFormats();
// Those that have room for measures, and those that have it for the names of saved files.
std::span<const ReportFormat> MeasuringFormats();
std::span<const ReportFormat> SavingFormats();
// The one of `rows` that the file `path` asks for by its ending: null for one that none of them has, and for the forms of a whole run,
// which go by whole names.
const ReportFormat* FormatOfEnding(std::span<const ReportFormat> rows, const std::string& path);
// What --printf makes.
const ReportFormat& PrintfRow();

// Several forms under one name, and the forms of `names`, a list with commas: each once, in the order of the list. Throws Failure(kUsage)
// naming what there is.
struct FormatGroup {
  const char* name;
  const char* words;
  const char* members;  // as in such a list
};
std::span<const FormatGroup> FormatGroups();
std::vector<const ReportFormat*> FormatsOf(const std::string& names);

// Throws Failure(kUsage) where one of the recordings cannot be told of in one of the forms, or two of them could not be told apart.
// `own_file`: each recording has a file for itself.
void CheckRecordings(const std::vector<const ReportFormat*>& formats, const std::vector<std::string>& recordings, bool own_file);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_REPORT_FORMATS_H_
