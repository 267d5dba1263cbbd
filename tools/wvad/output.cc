// SPDX-License-Identifier: Apache-2.0
#include "wvad/output.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <utility>

#include "wvad/failure.h"
#include "wvad/messages.h"
#include "wvad/system.h"
#include "wvad/wrapped.h"

namespace TSEG::tool {
namespace {

bool IsStandardOutput(const std::string& path) { return path.empty() || path == "-"; }

// The descriptor that is there already, -1 if the path has to be opened.
int DescriptorOf(const std::string& path) { return IsStandardOutput(path) ? kStandardOutput : DescriptorNamed(path).value_or(-1); }

std::string NameOf(const std::string& path) { return IsStandardOutput(path) ? "standard output" : path; }

}  // namespace

Output::Output(const std::string& path, const OutputRules& rules) : name_(NameOf(path)), descriptor_(DescriptorOf(path)) {
  CheckOutput(path, rules);
  if (descriptor_ >= 0) return;
  if (IsForFile(path)) {
    file_ = std::make_unique<NewFile>(path, rules);
    return;
  }
  descriptor_ = OpenSpecial(path);
  own_ = true;
  if (descriptor_ >= 0) return;
  const int error = errno;
  if (Interrupted()) throw Failure(ExitCode::kInterrupted, path + ": interrupted");
  throw Failure(ExitCode::kOutput, path + ": cannot be written: " + std::strerror(error));
}

Output::~Output() {
  if (own_ && descriptor_ >= 0) CloseDescriptor(descriptor_);
}

void Output::BeginsWith(std::string there, size_t sure, bool quiet) {
  there_ = std::move(there);
  sure_ = sure;
  quiet_ = quiet;
}

void Output::FindAgain(std::string_view text) {
  if (differs_) return;
  const std::string_view wanted = std::string_view(there_).substr(found_again_, text.size());
  const auto end = std::mismatch(wanted.begin(), wanted.end(), text.begin()).first;
  found_again_ += static_cast<size_t>(end - wanted.begin());
  differs_ = end != wanted.end();
  if (differs_ && found_again_ < sure_) RefuseOtherRows();
}

size_t Output::LineOfFirstOther() const {
  return 1 + static_cast<size_t>(std::count(there_.begin(), there_.begin() + static_cast<std::ptrdiff_t>(found_again_), '\n'));
}

void Output::RefuseOtherRows() const {
  throw Failure(ExitCode::kOutput, name_ + ": line " + std::to_string(LineOfFirstOther()) +
                                       " is not what this run finds; --resume replaces nothing that it does not find again");
}

void Output::Write(std::string_view text) {
  FindAgain(text);
  if (file_) {
    file_->Write(text);
  } else if (const int error = WriteAll(descriptor_, text); error == EPIPE) {
    throw NobodyReads(name_);
  } else if (error != 0) {
    throw Failure(ExitCode::kOutput, name_ + ": cannot be written: " + std::strerror(error));
  }
}

void Output::Close() {
  if (found_again_ < sure_) {
    if (!Interrupted()) RefuseOtherRows();
    CloseInterrupted();
    return;
  }
  if (found_again_ < there_.size() && !quiet_) {
    SayNote(name_ + ": note: it had other rows from line " + std::to_string(LineOfFirstOther()) + " on, as an interrupt leaves them");
  }
  if (file_) file_->Publish();
  file_.reset();
}

void Output::CloseInterrupted() {
  if (file_ && !StaysAsItWas(name_)) file_->Publish();
  file_.reset();
}

bool StaysAsItWas(const std::string& path) {
  if (LookAt(path).kind == FileKind::kNone) return false;
  SayNote(path + ": stays as it was, since this run was interrupted");
  return true;
}

bool IsForFile(const std::string& path) { return DescriptorOf(path) < 0 && LookAt(path).kind != FileKind::kSpecial; }

void CheckOutput(const std::string& path, const OutputRules& rules) {
  if (const int descriptor = DescriptorOf(path); descriptor >= 0) {
    rules.CheckDescriptor(descriptor, NameOf(path));
  } else {
    rules.Check(path);
  }
}

bool Output::is_terminal() const { return descriptor_ >= 0 && IsTerminal(descriptor_); }

size_t Output::width() const { return is_terminal() ? static_cast<size_t>(TextWidth()) : kAnyWidth; }

}  // namespace TSEG::tool
