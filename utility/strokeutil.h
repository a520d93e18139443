#ifndef UTILITY_STROKEUTIL_H
#define UTILITY_STROKEUTIL_H

#include <utility/utility_export.h>

#include <QPointF>
#include <QVector>

// Measures and smoothing of one stroke given as floating-point points in drawing
// order. Like the rest of Util these report nothing; degenerate input gives the
// documented fallback.
namespace Util {

// The mean of points[from..to] (inclusive). A `from` below 1 means 0; a negative
// `to`, or one at or past the last index, means the last index. (0, 0) when the
// range holds no point.
UTILITY_EXPORT QPointF getAveragePoint(const QVector<QPointF> &points, int from, int to);

// lengths[i] = the distance from point i to point i + 1 (cleared first; empty for
// fewer than two points). These are the single segment lengths, not running sums.
UTILITY_EXPORT void calcAdjacentLength(const QVector<QPointF> &points, QVector<double> &lengths);

// The sum of the segment lengths, which are left in `lengths`.
UTILITY_EXPORT double calcStrokeLength(const QVector<QPointF> &points, QVector<double> &lengths);
UTILITY_EXPORT double calcStrokeLength(const QVector<QPointF> &points);

// Reduces a hand-drawn stroke to its corner points: the first point, one point per
// division and the last point. Points that move less than 3.0 along the stroke are
// merged away first (but never the ends, nor, in a stroke that ends near its start,
// the point farthest from the start). A stretch is divided at the point farthest
// from its chord while that distance exceeds `ratio` times the chord's length; a
// bend against the direction into the following stretch counts half, and of equally
// far points the later one wins.
// An empty input gives an empty result; a one-point stroke gives that point twice.
UTILITY_EXPORT void getSmoothPoints(const QVector<QPointF> &points, QVector<QPointF> &result, double ratio);

} // namespace Util

#endif // UTILITY_STROKEUTIL_H
