#include "BareHandle.hpp"

namespace bench {
namespace {

class Holder final : public BareHandle {
public:
    explicit Holder(BareRecord& record) : record_(&record) {}
    BareRecord* record() const override { return record_; }

private:
    BareRecord* record_;
};

}  // namespace

BareHandle::~BareHandle() = default;

BareHandle* makeBareHandle(BareRecord& record) {
    return new Holder(record);
}

}  // namespace bench
