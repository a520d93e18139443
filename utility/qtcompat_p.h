#ifndef UTILITY_QTCOMPAT_P_H
#define UTILITY_QTCOMPAT_P_H

// The differences between Qt 5.15 and Qt 6 that the library meets, in one place.
// Code elsewhere calls these helpers instead of testing QT_VERSION itself.

#include <QtGlobal>
#include <QMetaType>
#include <QVariant>

namespace QtCompat {

// The type id of a variant, as the numbers QMetaType has always used
// (1 bool, 2 int, 6 double, 10 string, ...).
inline int typeId(const QVariant &value)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return value.typeId();
#else
    return static_cast<int>(value.type());
#endif
}

} // namespace QtCompat

#endif // UTILITY_QTCOMPAT_P_H
