#pragma once

#include <cstddef>
#include <string>

/// Other libraries of named values: Abseil's flags and gflags.
namespace bench {

/// Gives both of them the flags of the names 0 to `count` - 1.
void registerPeerFlags(std::size_t count);

bool isAbseilFlag(std::string const& name);
bool isGflag(std::string const& name);

}  // namespace bench
