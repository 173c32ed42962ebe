#include "applyEnvironmentOverride.hpp"

#include <optional>
#include <ostream>
#include <stdexcept>

#include <fl/i18n.hpp>

#include "../detail/logging.hpp"
#include "../detail/parseInt.hpp"

namespace foundation::feature::management {

void applyEnvironmentOverride(std::string const& featureName, detail::State& state) {
    static detail::Logger logger(detail::channel::registration);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "void foundation::feature::management::applyEnvironmentOverride(std::string const&, "
        "foundation::feature::detail::State&)",
        0};

    std::string const variable = "QZ_FEATURE_" + featureName;
    std::u16string const setting = fl::i18n::getenv(variable);
    if (setting.empty()) return;
    std::string const text = fl::i18n::to_string(setting);

    auto const writeUnsupported = [&](std::ostream& out) {
        out << "feature " << featureName << ": environment variable " << variable
            << " set to unsupported value: \"" << text << "\"";
    };
    try {
        std::optional<detail::LeadingInt> const number = detail::parseLeadingInt(text);
        if (!number) throw std::invalid_argument("invalid stoi argument");
        if (!number->isInRange) throw std::out_of_range("stoi argument out of range");

        int const oldValue = state.value;
        if (number->used < text.size()) {
            logger.write(detail::severity::rejections, location, writeUnsupported);
        } else if (number->value == oldValue) {
            logger.write(detail::severity::changes, location, [&](std::ostream& out) {
                out << "feature " << featureName << " environment set to default value: " << oldValue;
            });
        } else {
            logger.write(detail::severity::changes, location, [&](std::ostream& out) {
                out << "feature " << featureName << " environment set, changed from: " << oldValue
                    << " to: " << number->value;
            });
            state.value.store(number->value);
        }
    } catch (std::exception const& error) {
        // A mistake in the user's environment must not keep the feature from being registered.
        logger.write(detail::severity::rejections, location, [&](std::ostream& out) {
            writeUnsupported(out);
            out << "\nexception: " << error.what();
        });
    }
}

}  // namespace foundation::feature::management
