#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace demo {

/// The arguments of the program in UTF-8, without its name.
std::vector<std::string> commandLine(int argc, char** argv);

/// The folder of the running program.
/// @throws std::runtime_error  the system does not say.
std::filesystem::path programFolder();

}  // namespace demo
