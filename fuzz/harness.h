#ifndef UTILITY_FUZZ_HARNESS_H
#define UTILITY_FUZZ_HARNESS_H

// The fuzz harnesses, one per reader. Each takes arbitrary bytes, feeds them to a
// reader of the library and checks what must hold whatever the input (nothing
// written outside the target directory, only known category codes, ...). A broken
// invariant aborts, which libFuzzer and the replay test both report.
//
// The same functions are linked into the libFuzzer programs (fuzz/, clang only) and
// into the unit tests, which replay every stored corpus and regression input once.

#include <cstddef>
#include <cstdint>

namespace Fuzz {

using Harness = int (*)(const std::uint8_t *data, std::size_t size);

struct Entry
{
    const char *name;   // also the corpus folder name under fuzz/corpus/ and fuzz/regressions/
    Harness run;
};

// Every harness this build has, ending with {nullptr, nullptr}.
const Entry *harnesses();

// Aborts with a message when `condition` is false.
void check(bool condition, const char *what);

} // namespace Fuzz

#endif // UTILITY_FUZZ_HARNESS_H
