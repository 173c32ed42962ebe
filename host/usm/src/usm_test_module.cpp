#include "usm_test_module.hpp"

#include <foundation/usm.hpp>

namespace foundation::usm {

std::size_t slotInOtherModule() {
    static std::size_t const slot = Detail<scope::Zor>::getNextID(typeid(Shared));
    return slot;
}

void* findInOtherModule() {
    return Detail<scope::Zor>::find(slotInOtherModule(), typeid(Shared));
}

}  // namespace foundation::usm
