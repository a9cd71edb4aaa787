// The commands of zentactl. Each is one source file that defines one function: it adds the
// command's options and help to `command`, and sets as its callback what the command does. A
// callback throws Failure when it fails, and Refusal when the answer is no; what it prints to standard
// output is its result.
//
// A further command is a file, a declaration here and a row of the table in main.cc.
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
