#include <foundation/usm.hpp>

#include <boost/core/demangle.hpp>

#include <array>
#include <atomic>
#include <bit>
#include <limits>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

namespace foundation::usm {
namespace {

using Value = std::unique_ptr<void, void (*)(void*)>;

/// A value in its slot; also a link of the instance's list of values, the latest first.
struct Entry {
    Value value;
    std::type_index type;
    std::atomic<Entry*>& slot;
    std::unique_ptr<Entry> earlier;
};

using Slot = std::atomic<Entry*>;

/// Which slot has which type. Types are only ever added.
class SlotNumbers {
public:
    std::size_t numberOf(std::type_index type) {
        std::lock_guard const lock(mutex_);
        return numbers_.try_emplace(type, numbers_.size()).first->second;
    }

    bool hasGivenOut(std::size_t slot) {
        std::lock_guard const lock(mutex_);
        return slot < numbers_.size();
    }

private:
    std::mutex mutex_;  // Guards numbers_, for one table operation.
    std::map<std::type_index, std::size_t> numbers_;
};

SlotNumbers& slotNumbers() {
    static SlotNumbers& numbers = *new SlotNumbers;  // Never destroyed, like the main instance.
    return numbers;
}

// In this source and behind functions, so that all modules of the process share it. A plain pointer needs no
// destructor at thread exit, when other thread-locals may still look at it.
#if defined(__ELF__)
// At a fixed offset in each thread's block, which costs no call. Also a library that is loaded later finds room there
// for one pointer.
[[gnu::tls_model("initial-exec")]]
#endif
constinit thread_local EngineInstance* boundInstance = nullptr;

std::string nameOf(std::size_t slot) {
    return "per-instance slot " + std::to_string(slot);
}

}  // namespace

/// The slots lie in blocks that never move, so that a reader needs no lock: it follows two atomic pointers.
/// Each block is twice as large as the one before it, and made when one of its slots is first filled. Every read of a
/// per-instance value comes this way, so what it seldom needs is in functions of its own.
class EngineInstance::Storage {
public:
    Storage() = default;
    ~Storage();
    Storage(Storage const&) = delete;
    Storage& operator=(Storage const&) = delete;

    /// The value in that slot, which must be of that type; null when the slot is empty.
    void* find(std::size_t slot, std::type_index type) const {
        Position const position = positionOf(slot);
        Slot const* const block = blocks_[position.block].load(std::memory_order_acquire);
        Entry const* const entry =
            block == nullptr ? nullptr : block[position.index].load(std::memory_order_acquire);
        return entry == nullptr ? nullptr : valueOf(*entry, slot, type);
    }

    /// The same of the main instance.
    static void* findInMain(std::size_t slot, std::type_index type);

    /// The value of an entry, which must be of that type.
    static void* valueOf(Entry const& entry, std::size_t slot, std::type_index type) {
        // Only modules that have names of their own for the type have to compare the texts.
        return entry.type.name() == type.name() ? entry.value.get() : checkedValueOf(entry, slot, type);
    }

    /// That of the main instance.
    static Storage& ofMain();

    /// Takes `value` if the slot is empty. Gives the slot's entry.
    Entry& findOrInsert(std::size_t slot, std::type_index type, Value& value);

private:
    static constexpr std::size_t firstBlockSize = 16;

    struct Position {
        std::size_t block;
        std::size_t index;
    };
    /// A slot's number and 16: the topmost bit gives the block, those below it the place there. No number that was
    /// ever given out is so large that the sum wraps; the blocks that it would give stay empty, as the first four do.
    static Position positionOf(std::size_t slot) {
        std::size_t const shifted = slot + firstBlockSize;
        std::size_t const block = static_cast<std::size_t>(std::bit_width(shifted | 1)) - 1;
        return {block, shifted ^ sizeOf(block)};
    }
    static void* checkedValueOf(Entry const& entry, std::size_t slot, std::type_index type);
    static std::size_t sizeOf(std::size_t block) { return std::size_t{1} << block; }

    std::mutex insertion_;  // Guards latest_ and every write to a slot or to blocks_.
    std::unique_ptr<Entry> latest_;
    std::array<std::atomic<Slot*>, std::numeric_limits<std::size_t>::digits> blocks_{};
};

EngineInstance::Storage::~Storage() {
    // One at a time: a deleter may look at the slots, and a long list must not be destroyed by recursion.
    while (latest_ != nullptr) {
        std::unique_ptr<Entry> const entry = std::exchange(latest_, std::move(latest_->earlier));
        entry->slot.store(nullptr, std::memory_order_relaxed);
    }
    for (std::atomic<Slot*> const& block : blocks_)
        delete[] block.load(std::memory_order_relaxed);
}

EngineInstance::Storage& EngineInstance::Storage::ofMain() {
    // Never destroyed: while the process ends, other threads and static objects may still use it.
    static EngineInstance& instance = *new EngineInstance;
    return *instance.storage_;
}

#if defined(__GNUC__)
[[gnu::noinline]]  // `find` would save registers for it in every case.
#endif
void* EngineInstance::Storage::findInMain(std::size_t slot, std::type_index type) {
    return ofMain().find(slot, type);
}

void* EngineInstance::Storage::checkedValueOf(Entry const& entry, std::size_t slot, std::type_index type) {
    if (entry.type != type) {
        throw std::logic_error(nameOf(slot) + " holds a value of type \"" +
                               boost::core::demangle(entry.type.name()) + "\", not \"" +
                               boost::core::demangle(type.name()) + "\"");
    }
    return entry.value.get();
}

Entry& EngineInstance::Storage::findOrInsert(std::size_t slot, std::type_index type, Value& value) {
    Position const position = positionOf(slot);
    std::lock_guard const lock(insertion_);
    Slot* block = blocks_[position.block].load(std::memory_order_relaxed);
    if (block == nullptr) {
        block = new Slot[sizeOf(position.block)]();
        blocks_[position.block].store(block, std::memory_order_release);
    }
    Slot& place = block[position.index];
    if (Entry* const held = place.load(std::memory_order_relaxed)) return *held;

    // The value moves only when nothing can throw any more.
    std::unique_ptr<Entry> entry(new Entry{Value(nullptr, nullptr), type, place, nullptr});
    entry->value = std::move(value);
    entry->earlier = std::move(latest_);
    latest_ = std::move(entry);
    place.store(latest_.get(), std::memory_order_release);
    return *latest_;
}

EngineInstance::EngineInstance() : storage_(std::make_unique<Storage>()) {}
EngineInstance::~EngineInstance() = default;

CurrentEngineInstance::CurrentEngineInstance(EngineInstance& instance) noexcept
    : earlier_(std::exchange(boundInstance, &instance)) {}

CurrentEngineInstance::~CurrentEngineInstance() {
    boundInstance = earlier_;
}

EngineInstance::Storage& Detail<scope::Zor>::current() {
    EngineInstance const* const bound = boundInstance;
    return bound != nullptr ? *bound->storage_ : EngineInstance::Storage::ofMain();
}

std::size_t Detail<scope::Zor>::getNextID(std::type_index type) {
    return slotNumbers().numberOf(type);
}

void* Detail<scope::Zor>::find(std::size_t slot, std::type_index type) {
    EngineInstance const* const bound = boundInstance;
    return bound != nullptr ? bound->storage_->find(slot, type)
                            : EngineInstance::Storage::findInMain(slot, type);
}

void* Detail<scope::Zor>::findOrInsert(std::size_t slot, std::type_index type, Value&& value) {
    if (value == nullptr) throw std::invalid_argument(nameOf(slot) + ": the value must not be null");
    if (!slotNumbers().hasGivenOut(slot)) throw std::out_of_range(nameOf(slot) + " was never given out");
    return EngineInstance::Storage::valueOf(current().findOrInsert(slot, type, value), slot, type);
}

}  // namespace foundation::usm
