#pragma once

#include <atomic>
#include <cstdint>

namespace bench {

/// What a read touches of a record.
struct BareRecord {
    std::atomic<std::int32_t> value = 0;
    std::atomic<std::uint64_t> readCount = 0;

    int read() {
        ++readCount;
        return value;
    }
};

/// As much of a handle as a read obliges to: where the record is, behind a virtual call.
class BareHandle {
public:
    virtual ~BareHandle();
    virtual BareRecord* record() const = 0;

    int get() const { return record()->read(); }
};

/// A handle of `record`. In a source of its own: its callers must not see what it is.
BareHandle* makeBareHandle(BareRecord& record);

}  // namespace bench
