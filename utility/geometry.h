#ifndef UTILITY_GEOMETRY_H
#define UTILITY_GEOMETRY_H

#include <utility/utility_export.h>

#include <QPoint>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>
#include <QVector>

// Plane geometry on floating-point points: the namespace Util.
//
// Screen coordinates: x grows to the right, y downwards. The figure recogniser
// compares these results against fixed thresholds, so every formula is evaluated
// in a fixed order (the library is built without floating-point contraction); an
// algebraically equal rewrite can change which figure a scribble is taken for.
// Nothing here reports errors: degenerate input gives the documented fallback,
// and NaN makes every comparison false.
namespace Util {

// The class of a triangle. The numbers are stored and compared by callers.
enum ETriangleType {
    eNotTriangle = 0,       // not exactly three points
    eRightTriangle = 1,     // one turning angle is 90 degrees within 9 %
    eIsoscelesTriangle = 2, // two turning angles are equal within 9 %
    eAcuteTriangle = 3,     // no turning angle above 90: only degenerate or NaN input
    eObtuseTriangle = 4     // some turning angle above 90
};

// An edge of a triangle that lies parallel to an axis, named after the side of the
// triangle on which it lies. The numbers are stored and compared by callers.
enum EAlignedEdge {
    eEdgeNone = 0,
    eEdgeTop = 1,
    eEdgeRight = 2,
    eEdgeBottom = 3,
    eEdgeLeft = 4
};

// Length of an integer vector. The sum x*x + y*y is formed in 32-bit integer
// arithmetic and wraps as it always did (a wrapped, negative sum gives NaN).
UTILITY_EXPORT double getVectorSize(const QPoint &v);
UTILITY_EXPORT double getVectorSize(const QPointF &v);

// a - b.
UTILITY_EXPORT QPointF getVectorDiff(const QPointF &a, const QPointF &b);

// Cosine of the angle between two vectors, not clamped to [-1, 1]. A (near) zero
// vector gives 1.0.
UTILITY_EXPORT double getCos(const QPointF &a, const QPointF &b);

// Sign of the cross product a.x*b.y - a.y*b.x: 0 below 1e-9 in magnitude, 1 when
// b points clockwise of a on the screen, -1 otherwise.
UTILITY_EXPORT int vectorLeftOrRight(const QPointF &a, const QPointF &b);

// Sign of the dot product: 0 below 1e-9 in magnitude, 1 forward, -1 backward.
UTILITY_EXPORT int vectorFrontOrBack(const QPointF &a, const QPointF &b);

// The line a*x + b*y + c = 0 through p1 and p2, with a = p2.y - p1.y,
// b = p1.x - p2.x, c = p2.x*p1.y - p1.x*p2.y. Never normalised: the distance and
// intersection functions take the coefficients with exactly this scale and sign.
UTILITY_EXPORT void getLineCoefficient(const QPointF &p1, const QPointF &p2, double &a, double &b, double &c);

// Euclidean distance, and that distance rounded half up (truncating length + 0.5).
UTILITY_EXPORT double getDistance(const QPointF &p, const QPointF &q);
UTILITY_EXPORT int getIntDistance(const QPointF &p, const QPointF &q);

// True when |x| < 1e-9 (strictly). NaN gives false.
UTILITY_EXPORT bool isVirtuallyZero(double x);

// Tolerant comparison relative to the magnitude of the *first* argument only:
// |a - b| <= (eps + DBL_EPSILON) * (|a| >= 0.01 ? |a| : 1.0). Not symmetric on
// purpose; callers rely on the argument order. Any NaN gives false.
UTILITY_EXPORT bool isEqual(double a, double b, double eps);

// All four edges inclusive; an unnormalised rectangle contains nothing.
UTILITY_EXPORT bool pointInRect(const QRectF &r, const QPointF &p);

// Classifies a triangle by its turning angles (the angles between the directions
// of consecutive edges, which sum to 360 for a proper triangle) and reports up to
// two axis-aligned edges: the horizontal one goes to `first`, the vertical one to
// `first` when there is no horizontal edge, else to `second`. Alignment is judged
// relative to the coordinates' magnitude (9 %). A polygon of other than three
// points gives eNotTriangle and leaves both outputs untouched.
UTILITY_EXPORT ETriangleType identifyTriangle(const QPolygonF &tri, EAlignedEdge &first, EAlignedEdge &second);

// dst[i] = src[i + 1] - src[i]; dst is emptied for fewer than two points.
UTILITY_EXPORT void differentiate(const QVector<QPointF> &src, QVector<QPointF> &dst);

UTILITY_EXPORT double degToRad(double deg);
UTILITY_EXPORT double radToDeg(double rad);

// Intersection of the lines a1*x + b1*y + c1 = 0 and a2*x + b2*y + c2 = 0. False,
// with `out` untouched, when the determinant is within 1e-9 of zero.
UTILITY_EXPORT bool getIntersection(double a1, double b1, double c1, double a2, double b2, double c2, QPointF *out);

// Intersection of the infinite lines p1p2 and p3p4. The points are moved near the
// origin first so that large coordinates keep their precision.
UTILITY_EXPORT bool getIntersection(QPointF p1, QPointF p2, QPointF p3, QPointF p4, QPointF *out = nullptr);

// Intersection of the closed segments p1p2 and p3p4 (a touching end counts).
// Parallel segments never meet, even when they overlap. When one segment is a
// single point only one coordinate is tested against the other segment; when the
// first segment is the point it is tested against the second segment reflected
// through p3. Both quirks are what the recogniser was tuned with.
UTILITY_EXPORT bool intersectLineSegments(QPointF p1, QPointF p2, QPointF p3, QPointF p4, QPointF *out = nullptr);

// Where the segment from-to leaves the rectangle on the side of `to`: the vertical
// edge towards `to` is tried, then the horizontal one. (0, 0) when neither is
// crossed, in particular when `to` lies inside.
UTILITY_EXPORT QPointF getIntersectPoint(const QRectF &rect, const QPointF &from, const QPointF &to);

// The part of the segment p1p2 inside the rectangle. Both outputs are (0, 0)
// unless the result is true; an end inside the rectangle gives (0, 0) for its
// output in the slanted case (see getIntersectPoint).
UTILITY_EXPORT bool intersectRectAndLine(const QRectF &rect, const QPointF &p1, const QPointF &p2,
                                         QPointF *first = nullptr, QPointF *second = nullptr);

// Distance of p from the line a*x + b*y + c = 0. The norm a*a + b*b is floored at
// 1.0, so a very short coefficient vector (a segment shorter than 1) gives the
// unnormalised |a*p.x + b*p.y + c|. `foot`, when given, gets the foot point.
UTILITY_EXPORT double getDistanceToLine(double a, double b, double c, const QPointF &p, QPointF *foot = nullptr);

// Distance of p from the closed segment s1s2; a projection exactly on an end goes
// to that end. `foot`, when given, gets the nearest point.
UTILITY_EXPORT double calcDistanceToLineSegment(const QPointF &s1, const QPointF &s2, const QPointF &p,
                                                QPointF *foot = nullptr);

// content's size fitted into bounds with its aspect ratio kept (grown only when
// `enlarge`). With `center` the rectangle is centred in a box of bounds' size at
// the origin, not at bounds' own position. Zero-size content gives inf/NaN sizes.
UTILITY_EXPORT QRectF calcKeepAspectRect(const QRectF &bounds, const QRectF &content, bool enlarge, bool center);

} // namespace Util

#endif // UTILITY_GEOMETRY_H
