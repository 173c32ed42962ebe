#pragma once

#include <foundation/cppmicroservices.hpp>

#include <cppmicroservices/Bundle.h>

namespace foundation::feature::management {

/// Registers the features that an extension bundle lists in its manifest.
///
/// Whatever is wrong with the manifest is logged (channel "foundation::feature::register", severity 512), not thrown;
/// the features listed before the mistake stay registered. An invalid bundle, and one that lists no features, is left
/// alone.
///
/// @threads  Any.
void registerBundleFeatures(::cppmicroservices::Bundle bundle);

}  // namespace foundation::feature::management
