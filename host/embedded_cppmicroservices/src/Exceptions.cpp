#include "cppmicroservices/IllegalStateException.h"
#include "cppmicroservices/ServiceException.h"
#include "cppmicroservices/SharedLibraryException.h"

#include <utility>

namespace cppmicroservices {

// Out of line, so that each exception has one type identity for the program and all bundles.
IllegalStateException::~IllegalStateException() = default;
ServiceException::~ServiceException() = default;
SharedLibraryException::~SharedLibraryException() = default;

SharedLibraryException::SharedLibraryException(std::error_code code, std::string const& what, Bundle bundle)
    : std::system_error(code, what), bundle_(std::move(bundle)) {}

}  // namespace cppmicroservices
