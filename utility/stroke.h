#ifndef UTILITY_STROKE_H
#define UTILITY_STROKE_H

#include <utility/nrect.h>
#include <utility/utility_export.h>

#include <QPoint>
#include <QSize>
#include <QVector>

#include <istream>
#include <ostream>

// One stroke of ink: the integer points as the pen delivered them, with a bounding
// rectangle computed on request and cached until the points change.
//
// The bound's corner is exclusive in the CNRect sense, but it is built from the
// greatest coordinates themselves: a one-point stroke has a null bound at its
// point and a horizontal line has height 0. Hit tests, fitting and scribble bounds
// all rely on that.
//
// Persisted form (the suite's binary value format, see binaryread.h):
//     int count, then count points of (int x, int y), little-endian.
class UTILITY_EXPORT CStroke
{
public:
    CStroke();
    CStroke(const CStroke &other);
    CStroke &operator=(const CStroke &other);
    // Moves let containers of strokes grow without touching every point list.
    CStroke(CStroke &&other) noexcept = default;
    CStroke &operator=(CStroke &&other) noexcept = default;
    virtual ~CStroke();

    long getPointNum() const { return static_cast<long>(m_points.size()); }
    const QPoint &getPointAt(long i) const { return m_points.at(static_cast<int>(i)); }
    void addPoint(const QPoint &p);
    void setPointAt(long i, const QPoint &p);
    // Erases the points first..last, both inclusive. A range outside the stroke
    // erases nothing.
    void removePoints(long first, long last);

    void invalidateBoundingRect() { m_boundValid = false; }
    const CNRect &getRectBound() const;

    // Adds d to every point. Moving keeps the shape, so isShapeUnchanged() stays.
    void move(const QSize &d);
    // Scales about the bound's centre by sx and sy (an axis whose factor is exactly
    // 1.0 is only moved) and places that centre at `centre`. Coordinates are
    // truncated toward zero.
    void setPos(const QPoint &centre, double sx, double sy);
    // Fits the stroke into target. A factor strictly between 0.99 and 1.01 counts as
    // 1.0; note that 101/100 is exactly 1.01 and therefore scales.
    void setPos(const CNRect &target);

    // True when a *point* lies in r (edges inclusive); a segment crossing r between
    // two points outside it does not hit.
    bool hitTest(const CNRect &r) const;
    // Distance from p to the stroke, measured at the pair of consecutive points
    // nearest to p.
    double getDistance(const QPoint &p) const;

    // Same points in the same order; bounds and flags are not compared.
    virtual bool equals(const CStroke *other) const;

    // Replaces the points with a stroke record. A count of 0 or less reads no
    // points. A count larger than the stream holds reads the points present, keeps
    // only those, and leaves the stream failed; it never allocates the count.
    void readFrom(std::istream &in);
    // Writes the record readFrom reads.
    void writeTo(std::ostream &out) const;

    // Not used by the library itself; kept for callers.
    int getReserved() const { return m_reserved; }
    // False once the points' shape or count changed (moving does not count).
    bool isShapeUnchanged() const { return m_shapeUnchanged; }

private:
    void updateRectBound() const;
    double getLength2(const QPoint &a, const QPoint &b) const;

    QVector<QPoint> m_points;
    mutable CNRect m_bound;
    mutable bool m_boundValid;
    int m_reserved;
    bool m_shapeUnchanged;
};

#endif // UTILITY_STROKE_H
