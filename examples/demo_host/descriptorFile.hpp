#pragma once

#include <filesystem>
#include <string>

namespace demo {

/// Registers the features of a descriptor file: a JSON array of descriptors, or an object with such an array
/// as "features" and, if wanted, the texts "component", "module" and "clientdir". A file that names no module
/// is a module of its own, called as the file is without its extension; so of two files that declare one name
/// the second is refused.
///
/// @param file  UTF-8; as it is written here, it is also the source file of descriptors that name none.
/// @throws   std::runtime_error  in one line the file, the position in it (line and column, or the
///                               descriptor's number and name) and what is wrong. Features before the bad
///                               descriptor stay registered.
void registerDescriptorFile(std::string const& file);

/// Registers the features of every descriptor file in a folder, in the order of their names: what ends in
/// ".json". In messages and as source files they are called "<folder>/<file>", so that these do not depend on
/// where the folder is.
///
/// @throws   std::runtime_error  as above, or: the folder cannot be read.
void registerDescriptorFolder(std::filesystem::path const& folder);

}  // namespace demo
