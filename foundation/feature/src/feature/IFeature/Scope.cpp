#include <foundation/feature/Scope.hpp>

#include <ostream>
#include <string>

namespace foundation::feature {

std::ostream& operator<<(std::ostream& out, Scope scope) {
    switch (scope) {
    case Scope::PROCESS:
        return out << "Scope::PROCESS";
    case Scope::ZOR:
        return out << "Scope::ZOR";
    }
    // One text, made without the stream: its locale and base must not show in the number.
    return out << "Scope::" + std::to_string(static_cast<int>(scope));
}

}  // namespace foundation::feature
