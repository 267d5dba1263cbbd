// SPDX-License-Identifier: Apache-2.0
//
// What a recording is called in outputs: by the path that was given, by its id (what corpora call it: the file's name without its ending),
// as an absolute path, as a URL; what names are those of recordings. And why a name cannot stand in a form: names are bytes, and few forms
// hold all of them.
#ifndef WVAD_WVAD_RECORDING_NAME_H_
#define WVAD_WVAD_RECORDING_NAME_H_

#include <string>
#include <string_view>

namespace TSEG::tool {

// "talk" for "far/talk.mp3", "stdin" for "-", "recording" where nothing is left.
std::string RecordingId(const std::string& name);

// From the root, without "." and ".."; links are not followed. An address (https://...) stays as it is.
std::string AbsolutePath(const std::string& name);

// "file:///far/my%20talk.mp3": all but letters, digits and -._~/ as %XX; an address as it is.
std::string FileUrl(const std::string& name);

// Whether a file that is called so is one of sound, or a film.
bool IsSoundName(const std::string& name);

bool IsUtf8(std::string_view text);

// Each says in words why the recording `name` cannot be told of, empty if it can.
//
// Any name will do.
std::string AnyName(const std::string& name);
// The id has to be one token of a line, in UTF-8 and taken for no comment: no blank (of Unicode either), no control character, no ; or # at
// its begin.
std::string NoToken(const std::string& name);
// The path has to be that of a file that others can open (no standard input), without line breaks.
std::string NoPath(const std::string& name);
// The same in UTF-8.
std::string NoTextPath(const std::string& name);
// NoToken, and then NoPath.
std::string NoTokenOrPath(const std::string& name);
// The file's name has to be text in one line.
std::string NoLine(const std::string& name);
// The id has to be UTF-8.
std::string NoText(const std::string& name);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_RECORDING_NAME_H_
