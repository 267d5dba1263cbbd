// SPDX-License-Identifier: Apache-2.0
//
// Which recordings a run works on: the names of the command line, those of a list, and what lies in the folders among them.
#ifndef WVAD_WVAD_FILE_LIST_H_
#define WVAD_WVAD_FILE_LIST_H_

#include <string>
#include <unordered_map>
#include <vector>

namespace TSEG::tool {

struct FileListOptions {
  std::vector<std::string> names;    // files, folders, "-" for standard input, addresses
  std::string list;                  // a file with further names, one a line; "-" for standard input; empty for none
  bool zero_ends = false;            // names in the list end with a zero byte instead of a line's end
  bool recursive = false;            // folders are walked with those below them
  std::vector<std::string> include;  // of what lies in folders, only files that match one of these; all if there is none
  std::vector<std::string> exclude;  // and no file, and no folder below, that matches one of these
};

// Files that were found in folders, each with the folders between the one that was named and the file, "" or "sub/deep/".
using WalkedFiles = std::unordered_map<std::string, std::string>;

struct FileList {
  std::vector<std::string> files;
  WalkedFiles walked;              // those of them that were: what is no audio among them is nobody's mistake
  std::vector<std::string> again;  // names of files that stand in the list already, and are not in it twice
};

// The files in the order of the names given; those of a folder stand in its place, in the order of their names' bytes. What is neither file
// nor folder, links to folders, what is hidden (a dot at its begin), and the parts of files that are just being written are passed over in
// folders. A pattern with a slash is held against the path below the folder, any other against the name alone; a pattern to include whose
// own name begins with a dot takes hidden files too. Throws Failure: kUsage (no name at all), kNoFile (a list or folder that cannot be
// read).
FileList ListFiles(const FileListOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FILE_LIST_H_
