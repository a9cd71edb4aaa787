// The commands of zentactl. Each source file defines one function, which adds the command's options
// and help to `command` and sets its callback. The callback prints its result to standard output.
// It throws Failure when the work cannot be done, and Refusal when the answer is no.
//
// A new command needs a source file, a declaration here and a row of the table in main.cc.
#pragma once

#include <CLI/CLI.hpp>

namespace zenta::zentactl {

void DefineKeygen(CLI::App& command);
void DefineKey(CLI::App& command);
void DefineSign(CLI::App& command);
void DefineVerify(CLI::App& command);
void DefinePack(CLI::App& command);
void DefinePackage(CLI::App& command);
void DefineDict(CLI::App& command);
void DefineMessage(CLI::App& command);
void DefineTrace(CLI::App& command);
void DefineDump(CLI::App& command);
void DefinePages(CLI::App& command);

}  // namespace zenta::zentactl
