// The files that this program has read, so that it writes over none of them.
//
// OpenFile and ReadWholeFile note every file that they open, and a NewFile takes the name of none
// that was noted: a command has nothing to do for this. Only what reads a file in another way notes
// it itself. Files are known by device and inode, so that neither another path nor a link to a file
// hides it. For one thread.
#pragma once

#include <sys/stat.h>

#include <filesystem>

namespace zenta::tools {

// Notes the file at `path`, links followed. Nothing is noted if there is none.
void NoteInput(const std::filesystem::path& path);
// Notes what this is the status of.
void NoteInput(const struct stat& status);

// Throws Failure if the file at `out`, or the link there or what it leads to, was noted.
void RefuseInput(const std::filesystem::path& out);

}  // namespace zenta::tools
