#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <ctime>

/// How the benchmarks measure: processor time, so that what else runs on the machine counts little.
namespace bench {

/// The processor time that this thread has used, in nanoseconds.
inline double threadTime() {
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/// The processor time that `work` takes on this thread, in nanoseconds.
template <class Work>
double timeOf(Work const& work) {
    double const start = threadTime();
    work();
    return threadTime() - start;
}

/// The bytes that this process has allocated and not given back, what the allocator adds included.
double allocatedBytes();

/// Adds a benchmark each of whose runs is a process of its own, with a catalogue of its own.
///
/// @param measure  Gives the figure, mostly nanoseconds for one operation. Runs once in its process.
void addScenario(std::string const& name, std::function<double()> measure);

/// Runs the scenario of this name in this process and prints its figure.
/// @return  Whether there is one.
bool runScenario(std::string const& name);

/// A name as long as many are, and one that no other number has.
std::string featureName(std::size_t number);

/// The names of the features 0 to `count` - 1 in an order that is random, but always the same.
std::vector<std::string> shuffledNames(std::size_t count);

// Each adds the benchmarks of one source.
void addReads();
void addWrites();
void addLookups();
void addRegistration();
void addPerInstance();
void addJson();

}  // namespace bench
