// Built against an installed prefix by the package test: proves that
// find_package(Utility) brings the headers, the library and Qt along.
#include <utility/angle.h>
#include <utility/nrect.h>
#include <utility/stringcrc.h>

#include <QString>

#include <cstdio>

int main()
{
    const CNRect r(0, 0, 10, 10);
    const CAngle a(-3.141592653589793 / 2);
    const CStringCRC crc(QStringLiteral("123456789"));
    if (!r.intersects(CNRect(10, 0, 5, 5)) || crc.value() != 0x340BC6D9ul || a.getAngle() < 4.7 || a.getAngle() > 4.72) {
        std::puts("consumer: unexpected results");
        return 1;
    }
    std::puts("consumer: ok");
    return 0;
}
