#pragma once

#include <stdexcept>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

/// An operation was called at a time at which it cannot be carried out.
class US_Framework_EXPORT IllegalStateException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    IllegalStateException(IllegalStateException const&) = default;
    IllegalStateException& operator=(IllegalStateException const&) = default;
    ~IllegalStateException() override;
};

}  // namespace cppmicroservices
