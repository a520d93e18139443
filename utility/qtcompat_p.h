#ifndef UTILITY_QTCOMPAT_P_H
#define UTILITY_QTCOMPAT_P_H

// The differences between Qt 5.15 and Qt 6 that the library meets, in one place.
// Code elsewhere calls these helpers instead of testing QT_VERSION itself.

#include <QtGlobal>
#include <QFont>
#include <QMetaType>
#include <QVariant>
#include <QImageReader>

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

// Icon synthesis. Captions are specified with the weights Qt 4 and Qt 5 use
// (0 to 99: 50 normal, 75 bold); Qt 6 moved QFont to the OpenType scale
// (100 to 900: 400 normal, 700 bold). A legacy weight maps to the nearest of
// the named weights, which is what the same name meant before.
inline void setLegacyFontWeight(QFont &font, int legacyWeight)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    struct Step
    {
        int legacy;
        QFont::Weight weight;
    };
    static const Step steps[] = {
        {0, QFont::Thin},     {12, QFont::ExtraLight}, {25, QFont::Light},
        {50, QFont::Normal},  {57, QFont::Medium},     {63, QFont::DemiBold},
        {75, QFont::Bold},    {81, QFont::ExtraBold},  {87, QFont::Black},
    };
    const Step *best = &steps[0];
    for (const Step &step : steps) {
        if (qAbs(step.legacy - legacyWeight) < qAbs(best->legacy - legacyWeight))
            best = &step;
    }
    font.setWeight(best->weight);
#else
    font.setWeight(qBound(0, legacyWeight, 99));
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
