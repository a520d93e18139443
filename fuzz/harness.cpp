#include "harness.h"

#include <cstdio>
#include <cstdlib>

namespace Fuzz {

int binaryRecords(const std::uint8_t *data, std::size_t size);
int inkRecords(const std::uint8_t *data, std::size_t size);
int zipArchives(const std::uint8_t *data, std::size_t size);
int cabArchives(const std::uint8_t *data, std::size_t size);
int variantFragments(const std::uint8_t *data, std::size_t size);
int fileFilters(const std::uint8_t *data, std::size_t size);
int recogniserStrokes(const std::uint8_t *data, std::size_t size);
int metafiles(const std::uint8_t *data, std::size_t size);
int svgImages(const std::uint8_t *data, std::size_t size);

const Entry *harnesses()
{
    static const Entry all[] = {
        {"binaryread", binaryRecords},
        {"ink", inkRecords},
        {"zip", zipArchives},
        {"cab", cabArchives},
        {"variant", variantFragments},
        {"filter", fileFilters},
        {"recogniser", recogniserStrokes},
        {"emf", metafiles},
        {"svg", svgImages},
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
