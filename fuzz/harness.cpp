#include "harness.h"

#include <cstdio>
#include <cstdlib>

namespace Fuzz {

int binaryRecords(const std::uint8_t *data, std::size_t size);

const Entry *harnesses()
{
    static const Entry all[] = {
        {"binaryread", binaryRecords},
        {nullptr, nullptr},
    };
    return all;
}

void check(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "fuzz invariant broken: %s\n", what);
        std::abort();
    }
}

} // namespace Fuzz
