// Stroke and scribble records on arbitrary bytes. A record that reads without a
// stream failure must survive a write and a second read unchanged.
#include "harness.h"

#include <utility/scribble.h>
#include <utility/stroke.h>

#include <sstream>
#include <string>

namespace Fuzz {

namespace {
template<typename Record>
void readWriteRead(const std::string &bytes)
{
    std::istringstream in(bytes);
    Record first;
    first.readFrom(in);
    const bool complete = !in.fail();
    (void)first.getRectBound();
    if (!complete)
        return;
    std::ostringstream out;
    first.writeTo(out);
    std::istringstream again(out.str());
    Record second;
    second.readFrom(again);
    check(!again.fail(), "a written record does not read back");
    check(first.equals(&second), "a record changed through a write and a read");
}
} // namespace

int inkRecords(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string bytes(reinterpret_cast<const char *>(data) + 1, size - 1);
    if (data[0] & 1)
        readWriteRead<CScribble>(bytes);
    else
        readWriteRead<CStroke>(bytes);
    return 0;
}

} // namespace Fuzz
