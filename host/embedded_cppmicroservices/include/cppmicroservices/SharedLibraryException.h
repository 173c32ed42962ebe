#pragma once

#include <string>
#include <system_error>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

/// A bundle's code cannot be loaded.
class US_Framework_EXPORT SharedLibraryException : public std::system_error {
public:
    SharedLibraryException(std::error_code code, std::string const& what, Bundle bundle);
    SharedLibraryException(SharedLibraryException const&) = default;
    SharedLibraryException& operator=(SharedLibraryException const&) = default;
    ~SharedLibraryException() override;

    [[nodiscard]] Bundle GetBundle() const { return bundle_; }

private:
    Bundle bundle_;
};

}  // namespace cppmicroservices
