#ifndef UTILITY_QTCOMPAT_P_H
#define UTILITY_QTCOMPAT_P_H

// The differences between Qt 5.15 and Qt 6 that the library meets, in one place.
// Code elsewhere calls these helpers instead of testing QT_VERSION itself.

#include <QtGlobal>
#include <QMetaType>
#include <QVariant>
#include <QImageReader>

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

// --- imaging ---

// Qt 6 refuses to decode images above an allocation limit that the environment
// (QT_IMAGEIO_MAXALLOC) can change; Qt 5 has no such limit. The library checks
// its own limit before decoding and sets Qt 6's to the same value, so that both
// versions accept and refuse the same images.
inline void setImageAllocationLimit(QImageReader &reader, int megabytes)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    reader.setAllocationLimit(megabytes);
#else
    Q_UNUSED(reader);
    Q_UNUSED(megabytes);
#endif
}

} // namespace QtCompat

#endif // UTILITY_QTCOMPAT_P_H
