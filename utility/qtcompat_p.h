#ifndef UTILITY_QTCOMPAT_P_H
#define UTILITY_QTCOMPAT_P_H

// The differences between Qt 5.15 and Qt 6 that the library meets, in one place.
// Code elsewhere calls these helpers instead of testing QT_VERSION itself.

#include <QtGlobal>
#include <QMetaType>
#include <QVariant>

#include <limits>

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

// ---- zip archives ----

// The most bytes one QByteArray can hold. Qt 5 counts them in an int (less the
// array header); Qt 6 in a qsizetype, which no entry of a zip archive reaches.
inline quint64 maxByteArraySize()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return static_cast<quint64>(std::numeric_limits<qsizetype>::max() / 2);
#else
    return static_cast<quint64>(std::numeric_limits<int>::max() - 64);
#endif
}

} // namespace QtCompat

#endif // UTILITY_QTCOMPAT_P_H
