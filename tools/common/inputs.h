// Records the files that this program has read, so that it overwrites none of them.
//
// OpenFile and ReadWholeFile note every file that they open, and NewFile refuses to replace a noted
// one, so commands need no code for this. Only code that opens an input in another way has to call
// NoteInput. Files are identified by device and inode, so that other paths and links to the same
// file are recognised. Not thread-safe.
#pragma once

#include <sys/stat.h>

#include <filesystem>

namespace zenta::tools {

// Notes the file at `path`, links followed. Does nothing if it does not exist.
void NoteInput(const std::filesystem::path& path);
// Notes the file with this status.
void NoteInput(const struct stat& status);

// Throws Failure if the file at `out` was noted. If that is a link, both the link and its target
// are checked.
void RefuseInput(const std::filesystem::path& out);

}  // namespace zenta::tools
