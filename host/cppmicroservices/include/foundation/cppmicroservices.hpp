// Stand-in for the host's entry to its service framework; implements only what CONTRACT.md lists.
#pragma once

#include <foundation/cppmicroservices_export.hpp>

#include <fl/filesystem.hpp>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>

#include <memory>
#include <vector>

namespace foundation::cppmicroservices {

/// The framework that the host runs.
///
/// @return   Empty until the host has given one.
/// @threads  Any, at any time.
FOUNDATION_CPPMICROSERVICES_EXPORT std::shared_ptr<::cppmicroservices::Framework> getFramework();

/// Gives the process its framework, which the host has started. The process holds it until another one, or none, is
/// given, and never lets go of it at exit: a host stops it before main returns.
///
/// @param framework  Empty takes the earlier one away.
/// @threads          Any, at any time.
FOUNDATION_CPPMICROSERVICES_EXPORT void
setFramework(std::shared_ptr<::cppmicroservices::Framework> framework);

/// Sets the folder under which relative folders are looked for. Without it that is the environment variable
/// FOUNDATION_ROOT; without that R, when the running program lies in R/bin/win64, else the program's folder.
///
/// @param root  Empty brings the default back. A relative one is taken under the current directory.
/// @threads     Any, at any time; a call of installAndStart() that runs already may use either folder.
FOUNDATION_CPPMICROSERVICES_EXPORT void setInstallationRoot(fl::filesystem::path root);

/// Installs and starts the bundles of one folder: of the files in it, not of folders, those whose names end in ".dll",
/// ".so", ".dylib" or ".zip". What cannot be installed or started, also for want of a framework, is left out and
/// logged with its file and the reason (channel "foundation::cppmicroservices", severity 512).
///
/// @param folder  A relative one is taken under the installation root.
/// @return        The bundles that are active now, also those that were before: in the order of the file names, byte
///                by byte, then of the symbolic names. Empty when there is no such folder.
/// @throws        std::range_error when `folder`, or FOUNDATION_ROOT, is ill-formed text;
///                std::filesystem::filesystem_error when the system does not tell where the program lies.
/// @threads       Any, at any time. No lock is held while bundles start.
FOUNDATION_CPPMICROSERVICES_EXPORT std::vector<::cppmicroservices::Bundle>
installAndStart(fl::filesystem::path const& folder);

}  // namespace foundation::cppmicroservices
