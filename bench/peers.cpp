#include "peers.hpp"

#include "measure.hpp"

#include <absl/flags/flag.h>
#include <absl/flags/reflection.h>
#include <gflags/gflags.h>

namespace bench {

void registerPeerFlags(std::size_t count) {
    using namespace absl::flags_internal;
    for (std::size_t number = 0; number < count; ++number) {
        // Flags live as long as the process; so do their names.
        char const* const name = (new std::string(featureName(number)))->c_str();
        auto* const flag = new Flag<int>(name,
                                         "",
                                         {FlagHelpMsg(""), FlagHelpKind::kLiteral},
                                         {FlagDefaultSrc(0), FlagDefaultKind::kOneWord});
        FlagRegistrar<int, true>(*flag, "");
        gflags::FlagRegisterer(name, "", "", new gflags::int32(0), new gflags::int32(0));
    }
}

bool isAbseilFlag(std::string const& name) {
    return absl::FindCommandLineFlag(name) != nullptr;
}

bool isGflag(std::string const& name) {
    std::string value;
    return gflags::GetCommandLineOption(name.c_str(), &value);
}

}  // namespace bench
