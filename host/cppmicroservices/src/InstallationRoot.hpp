#pragma once

#include <filesystem>

namespace foundation::cppmicroservices::detail {

/// The folder that relative folders are taken under: absolute, as set or by default.
///
/// @throws std::range_error  FOUNDATION_ROOT is ill-formed text.
/// @throws std::filesystem::filesystem_error  The system does not tell where the program lies.
std::filesystem::path installationRoot();

}  // namespace foundation::cppmicroservices::detail
