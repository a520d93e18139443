#ifndef UTILITY_SCRIBBLE_H
#define UTILITY_SCRIBBLE_H

#include <utility/nrect.h>
#include <utility/stroke.h>
#include <utility/utility_export.h>

#include <QPoint>
#include <QSize>

#include <istream>
#include <ostream>
#include <vector>

// A piece of ink: strokes held by value in drawing order, with a cached bounding
// rectangle over all of them.
//
// Cache rules worth knowing:
//  - addStroke(const CStroke&) does NOT invalidate the cached bound; a stroke
//    appended outside it shows up only after another change (or after
//    getStrokeAt() for change, which invalidates first).
//  - An empty stroke takes part in the bound with its null bound at the origin.
//  - After setPos(target) the bound is target itself, not one recomputed from the
//    rounded points.
//
// Persisted form: int stroke count, then that many stroke records (stroke.h).
class UTILITY_EXPORT CScribble
{
public:
    // Part of the interface for callers: no limit. The library does not consult it.
    static constexpr unsigned int ms_maxPointsPerLine = 4294967295u;

    CScribble();
    CScribble(const CScribble &other);
    CScribble &operator=(const CScribble &other);
    CScribble(CScribble &&other) noexcept = default;
    CScribble &operator=(CScribble &&other) noexcept = default;
    virtual ~CScribble();

    long getStrokeNum() const { return static_cast<long>(m_strokes.size()); }
    // Out-of-range indexes throw std::out_of_range (the vector's own check).
    const CStroke &getStrokeAt(long i) const;
    // For change: the cached bound is invalidated first.
    CStroke &getStrokeAt(long i);

    void addStroke(const CStroke &s);
    // Appends n empty strokes; n <= 0 does nothing.
    void addStroke(long n);
    // Erases the strokes first..last, both inclusive; a range outside the scribble
    // erases nothing.
    void removeStroke(int first, int last);
    void merge(const CScribble &other);
    // Keeps only the strokes first..last (inclusive); an invalid range changes
    // nothing.
    void extract(long first, long last);

    // Adds d to x and y of every point and recomputes the bound.
    void shiftPoints(int d);
    void move(const QSize &d);
    // Scales every stroke about its own centre and moves the centres apart by the
    // same factors, about the scribble's centre, which lands on `centre`.
    void setPos(const QPoint &centre, double sx, double sy);
    // Fits into target; afterwards getRectBound() is exactly target.
    void setPos(const CNRect &target);

    const CNRect &getRectBound() const;

    // Same number of strokes and each equals() the other's at the same index.
    virtual bool equals(const CScribble *other) const;

    // Replaces the strokes with a scribble record and recomputes the bound. A count
    // larger than the stream holds reads the strokes present and leaves the stream
    // failed; a stroke of which nothing could be read is not kept.
    void readFrom(std::istream &in);
    // Writes the record readFrom reads.
    void writeTo(std::ostream &out) const;

    // Not used by the library itself; kept for callers.
    bool getReserved() const { return m_reserved; }

protected:
    void updateRectBound() const;

private:
    void invalidateCache();

    std::vector<CStroke> m_strokes;
    mutable CNRect m_bound;
    mutable bool m_cacheValid;
    bool m_reserved;
};

#endif // UTILITY_SCRIBBLE_H
