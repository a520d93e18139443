#ifndef UTILITY_CURSORUTILITY_H
#define UTILITY_CURSORUTILITY_H

#include <utility/utility_export.h>

#include <QPoint>
#include <QString>

class QCursor;

// Mouse cursors shipped as PNG files beside the program.
class UTILITY_EXPORT CCursorUtilities
{
public:
    CCursorUtilities() = default;
    CCursorUtilities(const CCursorUtilities &) = default;
    // There is nothing to copy: the class only groups static functions.
    CCursorUtilities &operator=(const CCursorUtilities &) { return *this; }

    // A new cursor (owned by the caller) from the PNG file baseName + ".png", with
    // its hot spot at hotSpot. Null for an empty name, a file that is missing,
    // unreadable or not a regular file, and a file that is not a PNG image of at
    // most 1024 pixels a side; nothing is reported. The size limit is checked from
    // the header before anything is decoded: no platform shows cursors anywhere
    // near that big, and a forged header must not make the decoder allocate
    // gigabytes.
    static QCursor *loadCursor(const QString &baseName, const QPoint &hotSpot);
};

#endif // UTILITY_CURSORUTILITY_H
