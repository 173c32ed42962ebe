#pragma once

#include <memory>
#include <string>
#include <typeinfo>
#include <unordered_map>

#include "cppmicroservices/Any.h"

namespace cppmicroservices {

/// A service object by the id of each interface that it is registered under.
using InterfaceMap = std::unordered_map<std::string, std::shared_ptr<void>>;
using InterfaceMapPtr = std::shared_ptr<InterfaceMap>;
using InterfaceMapConstPtr = std::shared_ptr<InterfaceMap const>;

/// The id of a service interface: the type's name as written in source code, unless declared otherwise.
template <class T>
std::string us_service_interface_iid() {
    return detail::demangledName(typeid(T));
}

/// The interfaces of `service`. They need no virtual functions.
template <class... Interfaces, class Impl>
InterfaceMapPtr makeInterfaceMap(std::shared_ptr<Impl> const& service) {
    auto map = std::make_shared<InterfaceMap>();
    (map->emplace(us_service_interface_iid<Interfaces>(), std::static_pointer_cast<Interfaces>(service)),
     ...);
    return map;
}

}  // namespace cppmicroservices

/// Gives an interface an id of its own. To be used outside of any namespace, wherever the interface is
/// declared.
#define CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(Type, Id)                                                 \
    template <>                                                                                              \
    inline std::string cppmicroservices::us_service_interface_iid<Type>() {                                  \
        return Id;                                                                                           \
    }
