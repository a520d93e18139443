#include <utility/figurerecogniser.h>

#include <utility/geometry.h>
#include <utility/strokeutil.h>

#include "trace_p.h"

#include <algorithm>
#include <cmath>

// How a scribble becomes a figure, in stages:
//
//  1. Every stroke is reduced to its corner points twice: with a fine tolerance
//     (0.01) that keeps every visible bend, then with a coarse one (0.1) that keeps
//     only the bends a person means.
//  2. Two strokes that are both straight lines and cross are two crossing lines.
//  3. Otherwise the strokes are joined: at a crossing near their ends (cutting the
//     overshoot), or through their nearest ends (cutting the whiskers).
//  4. One stroke left: if its ends meet it is a closed figure, reduced to its
//     corners, checked, and tidied into a regular triangle, quadrangle, pentagon,
//     star or hexagon; if open it may be a line, a barbed line, a caret or a
//     three-segment stroke. Two strokes left: a line with a barb drawn as a second
//     stroke, or two crossing lines. More: handwriting.
//
// Angles are measured in degrees with the conversion factor 180 / 3.14159, not
// 180 / pi: every threshold of the recogniser was set against angles measured that
// way, so a side exactly 10 degrees off an axis measures 10.0000084 and is not
// "within 10 degrees". Do not "fix" the constant.

namespace {

using PointList = CFigureRecogniser::PointList;
using StrokeList = CFigureRecogniser::StrokeList;

// 180 / 3.14159.
constexpr double kDegreesPerRadian = 57.295827908797776;
constexpr double kFullTurn = 6.283185307179586;

// Largest single-precision value: where an empty bounding box starts.
constexpr double kBoundStart = 3.4028234663852886e+38;

const QPointF kAxisX(1.0, 0.0);
const QPointF kAxisY(0.0, 1.0);
const QPointF kAxisUp(0.0, -1.0);

// Category codes.
constexpr int kCurve = 101;
constexpr int kPolygon = 102;
constexpr int kLine = 103;
constexpr int kBarbedLine = 114;
constexpr int kThreeSegments = 115;
constexpr int kCaretRight = 203;
constexpr int kCaretLeft = 204;
constexpr int kHorizontalLine = 205;
constexpr int kCrossingLines = 206;

inline QPointF midPoint(const QPointF &a, const QPointF &b)
{
    return QPointF((a.x() + b.x()) * 0.5, (a.y() + b.y()) * 0.5);
}

// Closed-interval overlap: boxes that only touch, and boxes of zero width or height
// (the box of a perfectly horizontal or vertical stroke), meet. QRectF::intersects
// would say that the two strokes of an exact "+" never meet.
inline bool boxesMeet(const QRectF &r, const QRectF &s)
{
    return r.left() <= s.right() && s.left() <= r.right() && r.top() <= s.bottom() && s.top() <= r.bottom();
}

bool allFinite(const StrokeList &strokes)
{
    for (const PointList &stroke : strokes) {
        for (const QPointF &p : stroke) {
            if (!std::isfinite(p.x()) || !std::isfinite(p.y()))
                return false;
        }
    }
    return true;
}

// The corners of a closed list, without the closing repeat.
inline PointList openCorners(const PointList &closed)
{
    return closed.mid(0, closed.size() - 1);
}

inline void closeCorners(PointList &corners)
{
    if (!corners.isEmpty())
        corners.append(corners.first());
}

} // namespace

const int CFigureRecogniser::cHANDWRITE_DATA;
const double CFigureRecogniser::THRESHOLD_ANGLE = 10.0;

// ---------------------------------------------------------------------------------
// Entry and category decisions
// ---------------------------------------------------------------------------------

int CFigureRecogniser::classifyScribble(const StrokeList &strokes, QRectF &rect, PointList &points,
                                        int vertexLimit, bool normalize, StrokeList *connected)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::classifyScribble");
    // Ink that the pen cannot have drawn is not a figure. Rejecting it here keeps
    // every later stage free of empty strokes and of NaN, which would otherwise
    // flow into index and distance decisions.
    bool usable = !strokes.isEmpty() && allFinite(strokes);
    for (int k = 0; usable && k < strokes.size(); ++k)
        usable = !strokes.at(k).isEmpty();
    if (!usable) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::classifyScribble");
        return 0;
    }

    StrokeList smoothed;
    makeSmoothPoints(strokes, smoothed, 0.01);
    rect = getStrokeRectBound(smoothed.at(0));

    int result = 0;
    if (smoothed.size() == 2) {
        // Two straight strokes that cross are tried before joining, which would
        // otherwise take them apart at the crossing. The coarse smoothing is needed
        // only here.
        StrokeList coarse;
        makeSmoothPoints(smoothed, coarse, 0.1);
        result = checkOpenStroke(coarse[0], coarse[1], rect);
    }

    StrokeList corners;
    if (result == 0) {
        if (!makeConnectedStroke(smoothed)) {
            UTILITY_TRACE_EXIT("CFigureRecogniser::classifyScribble");
            return 0;
        }
        rect = getStrokeRectBound(smoothed.at(0));
        result = classifyRecogCategory(smoothed, rect, corners, vertexLimit, normalize);
    }

    if (result == kPolygon && !corners.isEmpty()) {
        points = corners.at(0);
        rect = getStrokeRectBound(points);
        // The list is closed: dropping its first point leaves every corner once.
        if (!points.isEmpty())
            points.removeFirst();
    }
    if (connected)
        *connected = smoothed;
    UTILITY_TRACE_EXIT("CFigureRecogniser::classifyScribble");
    return result;
}

int CFigureRecogniser::classifyRecogCategory(StrokeList &strokes, QRectF &rect, StrokeList &corners,
                                             int vertexLimit, bool normalize)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::classifyRecogCategory");
    int result = 0;
    if (strokes.size() == 1) {
        PointList &stroke = strokes[0];
        if (connect1Stroke(stroke)) {
            result = checkCloseFigure(stroke, corners, vertexLimit, normalize);
        } else {
            PointList smooth;
            if (!stroke.isEmpty())
                Util::getSmoothPoints(stroke, smooth, 0.1);
            result = check1OpenStroke(smooth, rect);
        }
    } else if (strokes.size() == 2) {
        makeSmoothPoints(strokes, corners, 0.1);
        int i = -1;
        int j = -1;
        if (checkConnectSpecialEdge(corners.at(0), corners.at(1), i, j) == 1
            && checkBranchStroke(corners.at(0), corners.at(1), i, j, rect) == kBarbedLine)
            result = kBarbedLine;
        else
            result = checkOpenStroke(corners[0], corners[1], rect);
    } else {
        corners = strokes;
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::classifyRecogCategory");
    return result;
}

int CFigureRecogniser::checkCloseFigure(PointList &stroke, StrokeList &corners, int vertexLimit, bool normalize)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::checkCloseFigure");
    // Start the figure at the point farthest from the pen's start-to-end chord:
    // where the ink begins and ends it overlaps, and that must not become a corner.
    // Distances are compared in whole pixels, the first of equals wins, and a point
    // must be at least one pixel away to count. (Compared as doubles: a huge or
    // non-finite distance must not go through an int.)
    int farthest = 0;
    double best = 0.0;
    for (int i = 1; i < stroke.size() - 1; ++i) {
        const double d = std::trunc(
            Util::calcDistanceToLineSegment(stroke.first(), stroke.last(), stroke.at(i), nullptr));
        if (d > best) {
            best = d;
            farthest = i;
        }
    }
    if (!stroke.isEmpty()) {
        std::rotate(stroke.begin(), stroke.begin() + farthest, stroke.end());
        stroke.append(stroke.first());
    }

    PointList smooth;
    if (!stroke.isEmpty())
        Util::getSmoothPoints(stroke, smooth, 0.1);
    removeShortSegment(smooth);
    removeExtraPoint(smooth);
    corners.resize(1);
    corners[0] = smooth;
    const int result = classifyCloseFigure(corners[0], vertexLimit, normalize);
    UTILITY_TRACE_EXIT("CFigureRecogniser::checkCloseFigure");
    return result;
}

int CFigureRecogniser::classifyCloseFigure(PointList &corners, int vertexLimit, bool normalize)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::classifyCloseFigure");
    int result = 0;
    if (checkVectorDirection(corners)) {
        const int n = corners.size() - 1;
        // A five-pointed star drawn in one stroke crosses itself and is let through.
        if (n == 5 || !hasSelfIntersection(corners)) {
            if (vertexLimit < n) {
                result = kCurve;
            } else {
                if (normalize) {
                    switch (n) {
                    case 3:
                        normalizeTriangle(corners);
                        break;
                    case 4:
                        normalizeQuadrangle(corners);
                        break;
                    case 5:
                        normalizePentagon(corners);
                        break;
                    case 6:
                        normalizeHexagon(corners);
                        break;
                    default:
                        break;
                    }
                }
                result = kPolygon;
            }
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::classifyCloseFigure");
    return result;
}

int CFigureRecogniser::check1OpenStroke(const PointList &stroke, QRectF &rect)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::check1OpenStroke");
    const int n = stroke.size();
    if (n < 2) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::check1OpenStroke");
        return 0;
    }

    if (n == 3) {
        // Two arms meeting at stroke[1]: a barbed line, or a caret opening left or right.
        const QPointF &joint = stroke.at(1);
        const QPointF a = Util::getVectorDiff(stroke.at(0), joint);
        const QPointF b = Util::getVectorDiff(stroke.at(2), joint);
        const double g = Util::getCos(a, b);
        if (0.25 < g && g < 0.98) {
            const bool aHorizontal = isHorizontalAngle(calcAngle(kAxisX, a), THRESHOLD_ANGLE);
            const bool bHorizontal = isHorizontalAngle(calcAngle(kAxisX, b), THRESHOLD_ANGLE);
            const bool aVertical = isVerticalAngle(calcAngle(kAxisX, a), THRESHOLD_ANGLE);
            const bool bVertical = isVerticalAngle(calcAngle(kAxisX, b), THRESHOLD_ANGLE);
            // An axis-aligned corner is an L, not a caret or a barb.
            if (!((aHorizontal && bVertical) || (bHorizontal && aVertical))) {
                const double d0 = Util::getDistance(stroke.at(0), joint);
                const double d1 = Util::getDistance(joint, stroke.at(2));
                if (2.0 * std::min(d0, d1) <= std::max(d0, d1)) {
                    const QPointF &end = d0 > d1 ? stroke.at(0) : stroke.at(2);
                    rect = QRectF(end.x(), end.y(), joint.x() - end.x(), joint.y() - end.y());
                    UTILITY_TRACE_EXIT("CFigureRecogniser::check1OpenStroke");
                    return kBarbedLine;
                }
                const double y0 = stroke.at(0).y();
                const double y2 = stroke.at(2).y();
                if ((y0 > joint.y() && y2 > joint.y()) || (joint.y() > y0 && joint.y() > y2)) {
                    // Carets opening up or down are letters (V, ^), not figures.
                    UTILITY_TRACE_EXIT("CFigureRecogniser::check1OpenStroke");
                    return 0;
                }
                const double x0 = stroke.at(0).x();
                const double x2 = stroke.at(2).x();
                int caret = 0;
                if (joint.x() > x0 && joint.x() > x2)
                    caret = kCaretLeft;
                else if (x0 > joint.x() && x2 > joint.x())
                    caret = kCaretRight;
                if (caret != 0) {
                    // Centre the box's height on the joint; its left and width stay.
                    const double e = std::fabs(y0 - y2) / 2.0;
                    rect = QRectF(rect.x(), joint.y() - e, rect.width(), 2.0 * e);
                    UTILITY_TRACE_EXIT("CFigureRecogniser::check1OpenStroke");
                    return caret;
                }
            }
        }
    } else if (n == 4) {
        // A long middle segment with a short end segment folded back at each side (Z).
        const QPointF p = Util::getVectorDiff(stroke.at(0), stroke.at(1));
        const QPointF m = Util::getVectorDiff(stroke.at(2), stroke.at(1));
        const QPointF q = Util::getVectorDiff(stroke.at(2), stroke.at(3));
        const double middle = Util::getVectorSize(m);
        if (2.0 * Util::getVectorSize(p) < middle && 2.0 * Util::getVectorSize(q) < middle
            && Util::getCos(p, m) > 0.25 && Util::getCos(m, q) > 0.25) {
            const QPointF &s1 = stroke.at(1);
            const QPointF &s2 = stroke.at(2);
            rect = QRectF(s1.x(), s1.y(), s2.x() - s1.x(), s2.y() - s1.y());
            UTILITY_TRACE_EXIT("CFigureRecogniser::check1OpenStroke");
            return kThreeSegments;
        }
    }

    // Straight when the corners stray from the chord by at most 15% of the length,
    // summed over all corners.
    int result = 0;
    const double length = Util::calcStrokeLength(stroke);
    const QPointF &first = stroke.first();
    const QPointF &last = stroke.last();
    double deviation = 0.0;
    for (int i = 1; i < n - 1; ++i)
        deviation += Util::calcDistanceToLineSegment(first, last, stroke.at(i), nullptr);
    if (deviation <= 0.15 * length) {
        const QPointF chord = Util::getVectorDiff(last, first);
        rect = QRectF(first.x(), first.y(), chord.x(), chord.y());
        result = isHorizontalAngle(calcAngle(kAxisX, chord), THRESHOLD_ANGLE) ? kHorizontalLine : kLine;
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::check1OpenStroke");
    return result;
}

int CFigureRecogniser::checkOpenStroke(PointList &a, PointList &b, QRectF &rect)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::checkOpenStroke");
    Q_UNUSED(rect); // the caller's box stays: the figure is drawn over the first stroke's box
    QRectF lineA;
    QRectF lineB;
    // Each stroke is asked twice, once for each kind of line, as it always was.
    const bool straightA = check1OpenStroke(a, lineA) == kLine || check1OpenStroke(a, lineA) == kHorizontalLine;
    const bool straightB = straightA
        && (check1OpenStroke(b, lineB) == kLine || check1OpenStroke(b, lineB) == kHorizontalLine);
    if (!straightB) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::checkOpenStroke");
        return 0;
    }

    const int crossing = intersectConnect(a, b);
    if (a.isEmpty() || b.isEmpty()) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::checkOpenStroke");
        return 0;
    }
    const QPointF u = Util::getVectorDiff(a.last(), a.first());
    const QPointF v = Util::getVectorDiff(b.last(), b.first());
    int result = 0;
    if (crossing == 1) {
        // Near-perpendicular crossings (a plus sign) are left to the joining steps.
        if (!isVerticalAngle(calcAngle(u, v), THRESHOLD_ANGLE))
            result = kCrossingLines;
    }
    // Strokes that do not cross are not a figure here, whatever they are: two
    // horizontal strokes over each other (an equals sign, a line drawn twice) go on
    // to be joined like any other pair.
    UTILITY_TRACE_EXIT("CFigureRecogniser::checkOpenStroke");
    return result;
}

// ---------------------------------------------------------------------------------
// Joining strokes
// ---------------------------------------------------------------------------------

bool CFigureRecogniser::makeConnectedStroke(StrokeList &strokes)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::makeConnectedStroke");
    // Stroke 0 absorbs what it can, then stroke 1; a third anchor is not tried:
    // four strokes that two anchors cannot absorb are not one figure.
    for (int i = 0; i < strokes.size() - 1; ++i) {
        if (i >= 2) {
            UTILITY_TRACE_EXIT("CFigureRecogniser::makeConnectedStroke");
            return false;
        }
        for (int j = strokes.size() - 1; j > i; --j) {
            if (intersectConnect(strokes[i], strokes[j]) == 2 || nearConnect(strokes[i], strokes[j]))
                strokes.remove(j);
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::makeConnectedStroke");
    return true;
}

int CFigureRecogniser::intersectConnect(PointList &a, PointList &b)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::intersectConnect");
    if (a.isEmpty() || b.isEmpty()) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::intersectConnect");
        return 0;
    }
    const QRectF boxB = getStrokeRectBound(b);
    if (!boxesMeet(getStrokeRectBound(a), boxB)) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::intersectConnect");
        return 0;
    }

    QVector<QRectF> boxesA;
    QVector<QRectF> boxesB;
    getAllSegmentRect(a, boxesA);
    getAllSegmentRect(b, boxesB);

    // The first crossing in a's drawing order, then b's.
    int segA = -1;
    int segB = -1;
    QPointF cross;
    for (int i = 0; i < boxesA.size() && segA < 0; ++i) {
        if (!boxesMeet(boxesA.at(i), boxB))
            continue;
        for (int j = 0; j < boxesB.size(); ++j) {
            if (boxesMeet(boxesA.at(i), boxesB.at(j))
                && Util::intersectLineSegments(a.at(i), a.at(i + 1), b.at(j), b.at(j + 1), &cross)) {
                segA = i;
                segB = j;
                break;
            }
        }
    }
    if (segA < 0) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::intersectConnect");
        return 0;
    }

    double a1 = 0.0;
    double a2 = 0.0;
    double b1 = 0.0;
    double b2 = 0.0;
    divideStrokeLength(a, segA, cross, a1, a2);
    divideStrokeLength(b, segB, cross, b1, b2);
    // An end piece shorter than a tenth of its stroke is an overshoot.
    const double ta = 0.1 * (a1 + a2);
    const double tb = 0.1 * (b1 + b2);
    const bool nearStartA = a1 < ta;
    const bool nearEndA = a2 < ta;
    const bool nearStartB = b1 < tb;
    const bool nearEndB = b2 < tb;

    // The joined stroke runs continuously through the crossing, which it holds once;
    // the overshoots beyond it are gone. b is emptied: a has absorbed it.
    int result = 0;
    if (nearStartA || nearEndA) {
        if (nearStartB || nearEndB) {
            PointList joined;
            joined.reserve(a.size() + b.size());
            if (nearStartA) {
                // b's far piece, then the crossing, then a after it.
                if (nearStartB) {
                    for (int k = b.size() - 1; k > segB; --k)
                        joined.append(b.at(k));
                } else {
                    for (int k = 0; k <= segB; ++k)
                        joined.append(b.at(k));
                }
                joined.append(cross);
                for (int k = segA + 1; k < a.size(); ++k)
                    joined.append(a.at(k));
            } else {
                // a up to the crossing, then b's far piece.
                for (int k = 0; k <= segA; ++k)
                    joined.append(a.at(k));
                joined.append(cross);
                if (nearStartB) {
                    for (int k = segB + 1; k < b.size(); ++k)
                        joined.append(b.at(k));
                } else {
                    for (int k = segB; k >= 0; --k)
                        joined.append(b.at(k));
                }
            }
            a.swap(joined);
            b.clear();
            result = 2;
        }
    } else if (!nearStartB && !nearEndB) {
        result = 1; // a true crossing, away from every end
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::intersectConnect");
    return result;
}

bool CFigureRecogniser::nearConnect(PointList &a, PointList &b)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::nearConnect");
    if (a.isEmpty() || b.isEmpty()) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::nearConnect");
        return false;
    }
    normalizePointOrder(a, b);

    QVector<double> lengthsA;
    QVector<double> lengthsB;
    const double lengthA = Util::calcStrokeLength(a, lengthsA);
    const double lengthB = Util::calcStrokeLength(b, lengthsB);
    QVector<double> cumulativeA(a.size());
    QVector<double> cumulativeB(b.size());
    cumulativeA[0] = 0.0;
    for (int k = 0; k < lengthsA.size(); ++k)
        cumulativeA[k + 1] = cumulativeA.at(k) + lengthsA.at(k);
    cumulativeB[0] = 0.0;
    for (int k = 0; k < lengthsB.size(); ++k)
        cumulativeB[k + 1] = cumulativeB.at(k) + lengthsB.at(k);

    // The head zones are resampled on copies: a failed join leaves both strokes
    // as they were, apart from their direction.
    PointList headA = a;
    PointList headB = b;
    const int zoneA = std::min(searchHigeIndex(headA, lengthA, cumulativeA), int(headA.size()));
    const int zoneB = std::min(searchHigeIndex(headB, lengthB, cumulativeB), int(headB.size()));

    // The joint is the nearest pair of points within the two head zones; everything
    // of either stroke before it is a whisker beyond the joint and is cut.
    int bestA = 0;
    int bestB = 0;
    double best = Util::getDistance(headA.at(0), headB.at(0));
    for (int i = 0; i < zoneA; ++i) {
        for (int j = 0; j < zoneB; ++j) {
            const double d = Util::getDistance(headA.at(i), headB.at(j));
            if (d < best) {
                best = d;
                bestA = i;
                bestB = j;
            }
        }
    }
    bool joined = false;
    if (best < 0.1 * (lengthA + lengthB)) {
        PointList stroke;
        stroke.reserve(headA.size() - bestA + headB.size() - bestB);
        for (int k = headA.size() - 1; k >= bestA; --k)
            stroke.append(headA.at(k));
        for (int k = bestB; k < headB.size(); ++k)
            stroke.append(headB.at(k));
        a.swap(stroke);
        b.clear();
        joined = true;
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::nearConnect");
    return joined;
}

void CFigureRecogniser::normalizePointOrder(PointList &a, PointList &b)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizePointOrder");
    if (!a.isEmpty() && !b.isEmpty()) {
        // Of the four end pairs the nearest wins; the earlier of equals.
        const double distances[4] = {
            Util::getDistance(a.first(), b.first()),
            Util::getDistance(a.first(), b.last()),
            Util::getDistance(a.last(), b.first()),
            Util::getDistance(a.last(), b.last()),
        };
        int nearest = 0;
        for (int k = 1; k < 4; ++k) {
            if (distances[k] < distances[nearest])
                nearest = k;
        }
        if (nearest >= 2)
            std::reverse(a.begin(), a.end());
        if (nearest == 1 || nearest == 3)
            std::reverse(b.begin(), b.end());
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizePointOrder");
}

int CFigureRecogniser::searchHigeIndex(PointList &stroke, double length, QVector<double> &cumulative)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::searchHigeIndex");
    // The head zone is the first 8% of the stroke. Segments that start in it are
    // cut into pieces of at most 2% of the stroke's length, so that the joint can
    // be found between the corners of a stroke that smoothing left with few points.
    const double zone = 0.08 * length;
    const double step = 0.25 * zone;
    const int n = std::min(stroke.size(), cumulative.size());
    if (step > 0.0 && std::isfinite(step)) {
        PointList points;
        QVector<double> lengths;
        points.reserve(n + 64);
        lengths.reserve(n + 64);
        int k = 0;
        for (; k < n && cumulative.at(k) <= zone; ++k) {
            points.append(stroke.at(k));
            lengths.append(cumulative.at(k));
            if (k + 1 >= n)
                continue;
            const QPointF from = stroke.at(k);
            const QPointF delta = Util::getVectorDiff(stroke.at(k + 1), from);
            const double segment = Util::getDistance(stroke.at(k + 1), from);
            if (segment > step) {
                // A segment is at most the stroke's length, 50 steps: the cap only
                // guards against rounding.
                const int pieces = int(std::min(std::floor(segment / step), 64.0)) + 1;
                for (int t = 1; t < pieces; ++t) {
                    const double f = double(t) / double(pieces);
                    points.append(QPointF(from.x() + delta.x() * f, from.y() + delta.y() * f));
                    lengths.append(cumulative.at(k) + segment * f);
                }
            }
        }
        for (; k < n; ++k) {
            points.append(stroke.at(k));
            lengths.append(cumulative.at(k));
        }
        stroke.swap(points);
        cumulative.swap(lengths);
    }
    int count = 0;
    while (count < cumulative.size() && count < stroke.size() && cumulative.at(count) <= zone)
        ++count;
    UTILITY_TRACE_EXIT("CFigureRecogniser::searchHigeIndex");
    return count;
}

bool CFigureRecogniser::connect1Stroke(PointList &stroke)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::connect1Stroke");
    bool closed = false;
    if (!stroke.isEmpty()) {
        const double length = Util::calcStrokeLength(stroke);
        if (Util::getDistance(stroke.first(), stroke.last()) < 0.1 * length) {
            const QPointF joint = midPoint(stroke.first(), stroke.last());
            stroke.first() = joint;
            stroke.last() = joint;
            closed = true;
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::connect1Stroke");
    return closed;
}

int CFigureRecogniser::checkConnectSpecialEdge(const PointList &a, const PointList &b, int &i, int &j)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::checkConnectSpecialEdge");
    // Counts the places where an end of one stroke touches the middle of the other.
    const double threshold = 0.1 * (Util::calcStrokeLength(a) + Util::calcStrokeLength(b));
    i = -1;
    j = -1;
    int count = 0;
    for (int p = 0; p < a.size(); ++p) {
        const bool endA = p == 0 || p == a.size() - 1;
        for (int q = 0; q < b.size(); ++q) {
            const bool endB = q == 0 || q == b.size() - 1;
            if (endA == endB)
                continue;
            if (Util::getDistance(a.at(p), b.at(q)) < threshold) {
                if (count == 0) {
                    i = p;
                    j = q;
                }
                ++count;
            }
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::checkConnectSpecialEdge");
    return count;
}

int CFigureRecogniser::checkBranchStroke(const PointList &a, const PointList &b, int i, int j, QRectF &rect)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::checkBranchStroke");
    // A straight shaft (two points after smoothing) whose end touches the joint of
    // a two-arm head (three points), in either drawing order: an arrowhead ">" at
    // the end of a line, or a single barb drawn as a "V" whose one arm runs back
    // along the shaft. The touching pair was found by checkConnectSpecialEdge, so
    // it is always a shaft end against the head's middle point.
    const PointList *shaft = nullptr;
    const PointList *head = nullptr;
    int shaftEnd = -1;
    int headJoint = -1;
    if (a.size() == 2 && b.size() == 3) {
        shaft = &a;
        head = &b;
        shaftEnd = i;
        headJoint = j;
    } else if (a.size() == 3 && b.size() == 2) {
        shaft = &b;
        head = &a;
        shaftEnd = j;
        headJoint = i;
    }
    int result = 0;
    if (shaft && headJoint == 1 && (shaftEnd == 0 || shaftEnd == 1)) {
        const QPointF &joint = head->at(1);
        const QPointF &free = shaft->at(1 - shaftEnd);
        // Arms seen from the joint: the shaft back to its free end, and the barbs.
        const QPointF shaftArm = Util::getVectorDiff(free, joint);
        const QPointF barb1 = Util::getVectorDiff(head->at(0), joint);
        const QPointF barb2 = Util::getVectorDiff(head->at(2), joint);
        const double shaftLength = Util::getDistance(free, joint);
        const double barbLength = std::max(Util::getDistance(head->at(0), joint),
                                           Util::getDistance(head->at(2), joint));
        // Barbs point back along the shaft (each within 60 degrees of it) and are
        // no longer than the shaft. People draw a second-stroke head large: its
        // barbs are typically half to the whole of the shaft's length, unlike the
        // short barb drawn in the same stroke (at most half the long arm).
        if (calcAngle180(shaftArm, barb1) < 60.0 && calcAngle180(shaftArm, barb2) < 60.0
            && barbLength <= shaftLength) {
            rect = QRectF(free.x(), free.y(), joint.x() - free.x(), joint.y() - free.y());
            result = kBarbedLine;
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::checkBranchStroke");
    return result;
}

// ---------------------------------------------------------------------------------
// Corners of a closed stroke
// ---------------------------------------------------------------------------------

void CFigureRecogniser::removeShortSegment(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::removeShortSegment");
    QVector<double> sides;
    const double total = corners.size() >= 2 ? Util::calcStrokeLength(corners, sides) : 0.0;
    const int n = sides.size();
    if (n == 0) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::removeShortSegment");
        return;
    }
    const double mean = total / n;
    double sumSquares = 0.0;
    for (double side : sides)
        sumSquares += (side - mean) * (side - mean);
    const double spread = std::sqrt(sumSquares / n);
    // Only a list whose sides vary a lot (spread above 70% of the mean) holds sides
    // short enough to be a rounded corner rather than a side.
    if (!(spread / mean > 0.7)) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::removeShortSegment");
        return;
    }
    QVector<double> z(n);
    for (int k = 0; k < n; ++k)
        z[k] = (sides.at(k) - mean) / spread;
    int first = 0;
    while (first < n && !(z.at(first) > -0.7))
        ++first;
    if (first == n) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::removeShortSegment");
        return;
    }
    // Start at an ordinary side, so that no short side straddles the list's start.
    PointList ring = openCorners(corners);
    std::rotate(ring.begin(), ring.begin() + first, ring.end());
    std::rotate(z.begin(), z.begin() + first, z.end());

    // Walk the sides; a short side merges the corner at its start (possibly merged
    // already) with the corner at its end. Side 0 is ordinary, so merged.first()
    // is ring.first() until the closing side is reached.
    PointList merged;
    merged.reserve(n + 1);
    merged.append(ring.at(0));
    for (int k = 0; k < n; ++k) {
        const bool shortSide = z.at(k) < -0.7;
        if (k == n - 1) {
            if (shortSide && merged.size() >= 2) {
                merged.first() = midPoint(merged.last(), merged.first());
                merged.removeLast();
            }
        } else if (shortSide) {
            merged.last() = midPoint(merged.last(), ring.at(k + 1));
        } else {
            merged.append(ring.at(k + 1));
        }
    }
    closeCorners(merged);
    corners.swap(merged);
    UTILITY_TRACE_EXIT("CFigureRecogniser::removeShortSegment");
}

void CFigureRecogniser::removeExtraPoint(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::removeExtraPoint");
    // A quadrangle whose side was drawn with a slight kink comes out of smoothing
    // with five or six corners. A corner is dropped when it is nearly straight
    // (150 to 180 degrees) and the sides on either side of its two neighbours are
    // parallel, as the two sides next to a rectangle's side are.
    if (corners.size() == 6 || corners.size() == 7) {
        PointList ring = openCorners(corners);
        for (int i = ring.size() - 1; i >= 0; --i) {
            const int m = ring.size();
            if (m <= 3)
                break; // never fewer than three corners
            if (i >= m)
                continue;
            const QPointF &previous = ring.at((i - 1 + m) % m);
            const QPointF &next = ring.at((i + 1) % m);
            const double angle = calcAngle180(Util::getVectorDiff(previous, ring.at(i)),
                                              Util::getVectorDiff(next, ring.at(i)));
            if (!(angle > 150.0 && angle < 180.0))
                continue;
            // The side that ends at the previous corner and the side that starts at
            // the next one; at the list's ends they wrap around the closing point.
            const QPointF before = Util::getVectorDiff(previous, ring.at((i - 2 + m) % m));
            const QPointF after = Util::getVectorDiff(ring.at((i + 2) % m), next);
            const double parallel = calcAngle(before, after);
            if (parallel > -10.0 && parallel < THRESHOLD_ANGLE)
                ring.remove(i);
        }
        closeCorners(ring);
        corners.swap(ring);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::removeExtraPoint");
}

bool CFigureRecogniser::checkVectorDirection(const PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::checkVectorDirection");
    // Every corner must turn the same way: convex polygons and the one-stroke star
    // pass, a figure with a dent or a straight corner does not.
    QVector<QPointF> sides;
    Util::differentiate(corners, sides);
    bool valid = false;
    if (sides.size() >= 2) {
        const int turn = Util::vectorLeftOrRight(sides.at(0), sides.at(1));
        valid = turn != 0;
        for (int k = 1; valid && k < sides.size(); ++k)
            valid = Util::vectorLeftOrRight(sides.at(k), sides.at((k + 1) % sides.size())) == turn;
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::checkVectorDirection");
    return valid;
}

bool CFigureRecogniser::hasSelfIntersection(const PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::hasSelfIntersection");
    const int sides = corners.size() - 1;
    bool crossing = false;
    for (int i = 0; !crossing && i < sides; ++i) {
        for (int j = i + 2; j < sides; ++j) {
            if (i == 0 && j == sides - 1)
                continue; // they meet at the closing point
            if (Util::intersectLineSegments(corners.at(i), corners.at(i + 1), corners.at(j), corners.at(j + 1),
                                            nullptr)) {
                crossing = true;
                break;
            }
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::hasSelfIntersection");
    return crossing;
}

void CFigureRecogniser::divideStrokeLength(const PointList &stroke, int segment, const QPointF &point,
                                           double &before, double &after)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::divideStrokeLength");
    QVector<double> lengths;
    const double total = Util::calcStrokeLength(stroke, lengths);
    before = 0.0;
    for (int k = 0; k < segment && k < lengths.size(); ++k)
        before += lengths.at(k);
    if (segment >= 0 && segment < stroke.size())
        before += Util::getDistance(stroke.at(segment), point);
    after = total - before;
    UTILITY_TRACE_EXIT("CFigureRecogniser::divideStrokeLength");
}

void CFigureRecogniser::getAllSegmentRect(const PointList &stroke, QVector<QRectF> &rects)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::getAllSegmentRect");
    rects.clear();
    if (stroke.size() >= 2) {
        rects.reserve(stroke.size() - 1);
        for (int k = 0; k + 1 < stroke.size(); ++k) {
            const QPointF &p = stroke.at(k);
            const QPointF &q = stroke.at(k + 1);
            rects.append(QRectF(std::min(p.x(), q.x()), std::min(p.y(), q.y()), std::fabs(q.x() - p.x()),
                                std::fabs(q.y() - p.y())));
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::getAllSegmentRect");
}

// ---------------------------------------------------------------------------------
// Triangles
// ---------------------------------------------------------------------------------

void CFigureRecogniser::normalizeTriangle(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeTriangle");
    if (corners.size() != 4) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeTriangle");
        return;
    }
    QVector<QPointF> sides;
    Util::differentiate(corners, sides);
    double toHorizontal = 90.0;
    double toVertical = 90.0;
    int horizontalSide = -1;
    int verticalSide = -1;
    for (int k = 0; k < sides.size(); ++k) {
        const double h = calcAngle(kAxisX, sides.at(k));
        const double v = calcAngle(kAxisY, sides.at(k));
        if (h < toHorizontal) {
            toHorizontal = h;
            horizontalSide = k;
        }
        if (v < toVertical) {
            toVertical = v;
            verticalSide = k;
        }
    }
    if (toHorizontal < THRESHOLD_ANGLE || toHorizontal < toVertical) {
        // Standing on its most horizontal side.
        setSideHorizontal(corners, horizontalSide);
        if (toVertical < THRESHOLD_ANGLE) {
            setSideVertical(corners, verticalSide);
            normalizeRightTriangle(corners, horizontalSide, verticalSide);
        } else if (horizontalSide >= 0) {
            const double p = Util::getDistance(corners.at((horizontalSide + 1) % 3), corners.at((horizontalSide + 2) % 3));
            const double q = Util::getDistance(corners.at((horizontalSide + 2) % 3), corners.at(horizontalSide));
            if (0.8 * p < q && 0.8 * q < p)
                normalizeHorizontalIsoscelesTriangle(corners, horizontalSide);
        }
    } else if (verticalSide >= 0) {
        setSideVertical(corners, verticalSide);
        const double p = Util::getDistance(corners.at((verticalSide + 1) % 3), corners.at((verticalSide + 2) % 3));
        const double q = Util::getDistance(corners.at((verticalSide + 2) % 3), corners.at(verticalSide));
        if (0.8 * p < q && 0.8 * q < p)
            normalizeVerticalIsoscelesTriangle(corners, verticalSide);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeTriangle");
}

void CFigureRecogniser::setSideHorizontal(PointList &corners, int side)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::setSideHorizontal");
    if (side >= 0 && side < corners.size() - 1) {
        const double y = (corners.at(side).y() + corners.at(side + 1).y()) / 2.0;
        corners[side].setY(y);
        corners[side + 1].setY(y);
        // Keep the list closed: the closing point and corner 0 are one corner.
        if (side == 0)
            corners.last().setY(y);
        if (side == corners.size() - 2)
            corners.first().setY(y);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::setSideHorizontal");
}

void CFigureRecogniser::setSideVertical(PointList &corners, int side)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::setSideVertical");
    if (side >= 0 && side < corners.size() - 1) {
        const double x = (corners.at(side).x() + corners.at(side + 1).x()) / 2.0;
        corners[side].setX(x);
        corners[side + 1].setX(x);
        if (side == 0)
            corners.last().setX(x);
        if (side == corners.size() - 2)
            corners.first().setX(x);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::setSideVertical");
}

void CFigureRecogniser::normalizeRightTriangle(PointList &corners, int horizontalSide, int verticalSide)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeRightTriangle");
    // Two different sides of a triangle always share a corner: the right angle.
    // It stays where it is, and so does the horizontal leg; the far end of the
    // vertical leg slides along it until both legs are equally long.
    if (corners.size() == 4 && horizontalSide >= 0 && horizontalSide < 3 && verticalSide >= 0
        && verticalSide < 3 && horizontalSide != verticalSide) {
        const int h0 = horizontalSide;
        const int h1 = (horizontalSide + 1) % 3;
        const int v0 = verticalSide;
        const int v1 = (verticalSide + 1) % 3;
        const int right = (h0 == v0 || h0 == v1) ? h0 : h1;
        const int horizontalEnd = right == h0 ? h1 : h0;
        const int verticalEnd = right == v0 ? v1 : v0;
        const double a = Util::getDistance(corners.at(right), corners.at(horizontalEnd));
        const double b = Util::getDistance(corners.at(right), corners.at(verticalEnd));
        if (0.8 * a < b && 0.8 * b < a) {
            const double direction = corners.at(verticalEnd).y() < corners.at(right).y() ? -1.0 : 1.0;
            corners[verticalEnd].setY(corners.at(right).y() + direction * a);
            corners.last() = corners.first();
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeRightTriangle");
}

void CFigureRecogniser::normalizeHorizontalIsoscelesTriangle(PointList &corners, int base)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeHorizontalIsoscelesTriangle");
    if (corners.size() == 4 && base >= 0 && base < 3) {
        const int apex = (base + 2) % 3;
        corners[apex].setX((corners.at(base).x() + corners.at((base + 1) % 3).x()) / 2.0);
        corners.last() = corners.first();
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeHorizontalIsoscelesTriangle");
}

void CFigureRecogniser::normalizeVerticalIsoscelesTriangle(PointList &corners, int base)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeVerticalIsoscelesTriangle");
    if (corners.size() == 4 && base >= 0 && base < 3) {
        const int apex = (base + 2) % 3;
        corners[apex].setY((corners.at(base).y() + corners.at((base + 1) % 3).y()) / 2.0);
        corners.last() = corners.first();
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeVerticalIsoscelesTriangle");
}

// ---------------------------------------------------------------------------------
// Quadrangles
// ---------------------------------------------------------------------------------

void CFigureRecogniser::normalizeQuadrangle(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeQuadrangle");
    if (corners.size() != 5 || normalizeKite(corners)) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeQuadrangle");
        return;
    }
    QVector<QPointF> sides;
    Util::differentiate(corners, sides);
    double h[4];
    double v[4];
    for (int k = 0; k < 4; ++k) {
        h[k] = calcAngle(kAxisX, sides.at(k));
        v[k] = calcAngle(kAxisY, sides.at(k));
    }
    // Of the two pairs of opposite sides, the one closer to an axis is made exact
    // first; on a tie, sides 1 and 3.
    const double h02 = h[0] + h[2];
    const double v02 = v[0] + v[2];
    const double h13 = h[1] + h[3];
    const double v13 = v[1] + v[3];
    const bool horizontal02 = h02 < v02;
    const bool horizontal13 = h13 < v13;
    if (std::min(h13, v13) <= std::min(h02, v02)) {
        shiftVertexList(corners);
        const double rh[4] = {h[1], h[2], h[3], h[0]};
        const double rv[4] = {v[1], v[2], v[3], v[0]};
        normalizeQuadrangleAux(corners, horizontal13, rh, rv);
    } else {
        normalizeQuadrangleAux(corners, horizontal02, h, v);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeQuadrangle");
}

void CFigureRecogniser::normalizeQuadrangleAux(PointList &corners, bool horizontal, const double (&toHorizontal)[4],
                                               const double (&toVertical)[4])
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeQuadrangleAux");
    if (!horizontal) {
        setSideVertical(corners, 0);
        setSideVertical(corners, 2);
        const bool side1 = toHorizontal[1] < THRESHOLD_ANGLE;
        const bool side3 = toHorizontal[3] < THRESHOLD_ANGLE;
        if (side1 && side3)
            normalizeRectangle(corners, false);
        else if (side1)
            setSideHorizontal(corners, 1);
        else if (side3)
            setSideHorizontal(corners, 3);
        else
            normalizeParallelogramOrTrapezium(corners, false);
    } else {
        setSideHorizontal(corners, 0);
        setSideHorizontal(corners, 2);
        // Upright sides are allowed to lean more (15 degrees) than flat ones (10):
        // people draw verticals less steadily.
        const bool side1 = toVertical[1] < 15.0;
        const bool side3 = toVertical[3] < 15.0;
        if (side1 && side3)
            normalizeRectangle(corners, true);
        else if (side1)
            setSideVertical(corners, 1);
        else if (side3)
            setSideVertical(corners, 3);
        else
            normalizeParallelogramOrTrapezium(corners, true);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeQuadrangleAux");
}

bool CFigureRecogniser::normalizeKite(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeKite");
    bool kite = false;
    if (corners.size() == 5) {
        // A kite or diamond stands on a corner: one diagonal within 30 degrees of
        // horizontal and the other within 30 degrees of vertical.
        const QPointF d0 = Util::getVectorDiff(corners.at(2), corners.at(0));
        const QPointF d1 = Util::getVectorDiff(corners.at(3), corners.at(1));
        const bool d0Horizontal = calcAngle(kAxisX, d0) < 30.0;
        const bool d0Vertical = calcAngle(kAxisY, d0) < 30.0;
        const bool d1Horizontal = calcAngle(kAxisX, d1) < 30.0;
        const bool d1Vertical = calcAngle(kAxisY, d1) < 30.0;
        if (d0Horizontal && d1Vertical) {
            normalizeKiteAux(corners);
            kite = true;
        } else if (d1Horizontal && d0Vertical) {
            shiftVertexList(corners);
            normalizeKiteAux(corners);
            kite = true;
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeKite");
    return kite;
}

void CFigureRecogniser::normalizeKiteAux(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeKiteAux");
    // Diagonal 0 (corners 0 and 2) becomes exactly horizontal at its mean height and
    // diagonal 1 (corners 1 and 3) exactly vertical at its mean x. Where the
    // diagonals cross within a fifth of a diagonal's length of its middle, the
    // crossing moves to that middle, by sliding the other diagonal: both middles
    // give a diamond, one gives a kite symmetric about the other diagonal, and a
    // crossing well off both middles is kept as drawn. Sliding the crossing
    // diagonal keeps the four extreme coordinates, so the figure keeps its box.
    if (corners.size() == 5) {
        QPointF &c0 = corners[0];
        QPointF &c1 = corners[1];
        QPointF &c2 = corners[2];
        QPointF &c3 = corners[3];
        double across = (c0.y() + c2.y()) * 0.5; // height of the horizontal diagonal
        double upright = (c1.x() + c3.x()) * 0.5; // x of the vertical diagonal
        const double middleX = (c0.x() + c2.x()) * 0.5;
        const double middleY = (c1.y() + c3.y()) * 0.5;
        const double width = std::fabs(c2.x() - c0.x());
        const double height = std::fabs(c3.y() - c1.y());
        if (std::fabs(upright - middleX) < 0.2 * width)
            upright = middleX;
        if (std::fabs(across - middleY) < 0.2 * height)
            across = middleY;
        c0.setY(across);
        c2.setY(across);
        c1.setX(upright);
        c3.setX(upright);
        corners[4] = corners.at(0);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeKiteAux");
}

void CFigureRecogniser::normalizeRectangle(PointList &corners, bool horizontal)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeRectangle");
    if (corners.size() != 5) {
        UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeRectangle");
        return;
    }
    if (horizontal) {
        setSideHorizontal(corners, 0);
        setSideHorizontal(corners, 2);
        setSideVertical(corners, 1);
        setSideVertical(corners, 3);
    } else {
        setSideVertical(corners, 0);
        setSideVertical(corners, 2);
        setSideHorizontal(corners, 1);
        setSideHorizontal(corners, 3);
    }
    // The extents are read as side 0's x extent and side 1's y extent. On a list
    // that starts with a vertical side both read 0 and the rectangle stays as
    // drawn; that is how rectangles have always been squared.
    const double width = std::fabs(corners.at(1).x() - corners.at(0).x());
    const double height = std::fabs(corners.at(2).y() - corners.at(1).y());
    if (0.8 * width < height && 0.8 * height < width) {
        // Corners 0 and 1 (side 0) stay; corners 2 and 3 slide along sides 1 and 3,
        // on the side of side 0 they were drawn on, until the height equals the width.
        const double direction = corners.at(2).y() < corners.at(1).y() ? -1.0 : 1.0;
        const double y = corners.at(1).y() + direction * width;
        corners[2].setY(y);
        corners[3].setY(y);
        corners[4] = corners.at(0);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeRectangle");
}

void CFigureRecogniser::normalizeParallelogramOrTrapezium(PointList &corners, bool horizontal)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeParallelogramOrTrapezium");
    // Sides 0 and 2 are already exact (horizontal, or vertical when !horizontal);
    // sides 1 and 3 lean. Along that axis ("along") only the corners' positions
    // change; the two exact sides keep their lines.
    //
    // Both free sides are read from side 0 towards side 2 (corner 1 to 2, and
    // corner 0 to 3). When they lean the same way the figure is a parallelogram:
    // both get the mean lean and both exact sides the mean length. Otherwise it is a
    // trapezium: each exact side keeps its length and both are centred on the line
    // halfway between their middles, which makes it isosceles. Either way the mean
    // of the four corners along the axis stays, so the figure does not wander.
    if (corners.size() == 5) {
        auto along = [horizontal](const QPointF &p) { return horizontal ? p.x() : p.y(); };
        auto setAlong = [horizontal](QPointF &p, double value) {
            if (horizontal)
                p.setX(value);
            else
                p.setY(value);
        };
        const double c0 = along(corners.at(0));
        const double c1 = along(corners.at(1));
        const double c2 = along(corners.at(2));
        const double c3 = along(corners.at(3));
        const double lean1 = c2 - c1;
        const double lean3 = c3 - c0;
        const double direction = c1 < c0 ? -1.0 : 1.0; // side 0 runs this way, side 2 back
        const double length0 = std::fabs(c1 - c0);
        const double length2 = std::fabs(c2 - c3);
        const double centre = (c0 + c1 + c2 + c3) * 0.25;
        double middle0 = 0.0;
        double middle2 = 0.0;
        double half0 = 0.0;
        double half2 = 0.0;
        if ((lean1 > 0.0 && lean3 > 0.0) || (lean1 < 0.0 && lean3 < 0.0)) {
            const double lean = (lean1 + lean3) * 0.5;
            middle0 = centre - lean * 0.5;
            middle2 = centre + lean * 0.5;
            half0 = (length0 + length2) * 0.25;
            half2 = half0;
        } else {
            middle0 = centre;
            middle2 = centre;
            half0 = length0 * 0.5;
            half2 = length2 * 0.5;
        }
        setAlong(corners[0], middle0 - direction * half0);
        setAlong(corners[1], middle0 + direction * half0);
        setAlong(corners[2], middle2 + direction * half2);
        setAlong(corners[3], middle2 - direction * half2);
        corners[4] = corners.at(0);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeParallelogramOrTrapezium");
}

void CFigureRecogniser::shiftVertexList(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::shiftVertexList");
    if (corners.size() >= 2) {
        corners.removeLast();
        std::rotate(corners.begin(), corners.begin() + 1, corners.end());
        closeCorners(corners);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::shiftVertexList");
}

// ---------------------------------------------------------------------------------
// Regular polygons
// ---------------------------------------------------------------------------------

QPointF CFigureRecogniser::getCenterPoint(const PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::getCenterPoint");
    const int n = corners.size() - 1;
    double x = 0.0;
    double y = 0.0;
    for (int k = 0; k < n; ++k) {
        x += corners.at(k).x();
        y += corners.at(k).y();
    }
    QPointF center;
    if (n > 0)
        center = QPointF(x / n, y / n);
    else if (!corners.isEmpty())
        center = corners.first();
    UTILITY_TRACE_EXIT("CFigureRecogniser::getCenterPoint");
    return center;
}

double CFigureRecogniser::getRadius(const PointList &corners, const QPointF &center)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::getRadius");
    const int n = corners.size() - 1;
    double sum = 0.0;
    for (int k = 0; k < n; ++k)
        sum += Util::getDistance(center, corners.at(k));
    const double radius = n > 0 ? sum / n : 0.0;
    UTILITY_TRACE_EXIT("CFigureRecogniser::getRadius");
    return radius;
}

void CFigureRecogniser::setRegularPolygon(double startDegrees, PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::setRegularPolygon");
    const int n = corners.size() - 1;
    if (n >= 1) {
        const QPointF center = getCenterPoint(corners);
        const double radius = getRadius(corners, center);
        double step = kFullTurn / n;
        double theta = startDegrees * kFullTurn / 360.0;
        // A self-crossing five-corner figure is a star: every second corner of the
        // pentagon, in drawing order.
        if (n == 5 && hasSelfIntersection(corners))
            step *= 2.0;
        for (QPointF &p : corners) {
            p = QPointF(center.x() + radius * std::cos(theta), center.y() + radius * std::sin(theta));
            theta += step;
        }
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::setRegularPolygon");
}

void CFigureRecogniser::normalizePentagon(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizePentagon");
    if (corners.size() == 6) {
        double x = 0.0;
        double y = 0.0;
        for (int k = 0; k < 5; ++k) {
            x += corners.at(k).x();
            y += corners.at(k).y();
        }
        const QPointF centroid(x / 5.0, y / 5.0);
        // Whichever corner lies closest to straight above or below the centroid
        // decides whether the pentagon points up or down.
        double up = 90.0;
        double down = 90.0;
        for (int k = 0; k < 5; ++k) {
            const QPointF d = Util::getVectorDiff(corners.at(k), centroid);
            if (d.y() < 0.0)
                up = std::min(up, calcAngle(kAxisUp, d));
            else if (d.y() > 0.0)
                down = std::min(down, calcAngle(kAxisY, d));
        }
        setRegularPolygon(down <= up ? 90.0 : -90.0, corners);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizePentagon");
}

void CFigureRecogniser::normalizeHexagon(PointList &corners)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::normalizeHexagon");
    QVector<QPointF> sides;
    Util::differentiate(corners, sides);
    double h = 90.0;
    double v = 90.0;
    for (const QPointF &side : sides) {
        h = std::min(h, calcAngle(kAxisX, side));
        v = std::min(v, calcAngle(kAxisY, side));
    }
    // Upright sides (corners at 30, 90, 150 ... degrees) or flat top and bottom
    // (corners at 0, 60, 120 ...), as drawn.
    setRegularPolygon(v <= h ? 30.0 : 0.0, corners);
    UTILITY_TRACE_EXIT("CFigureRecogniser::normalizeHexagon");
}

// ---------------------------------------------------------------------------------
// Shared members
// ---------------------------------------------------------------------------------

void CFigureRecogniser::makeSmoothPoints(const StrokeList &strokes, StrokeList &smoothed, double tolerance)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::makeSmoothPoints");
    smoothed.clear();
    smoothed.resize(strokes.size());
    for (int k = 0; k < strokes.size(); ++k) {
        if (!strokes.at(k).isEmpty())
            Util::getSmoothPoints(strokes.at(k), smoothed[k], tolerance);
    }
    UTILITY_TRACE_EXIT("CFigureRecogniser::makeSmoothPoints");
}

QRectF CFigureRecogniser::getStrokeRectBound(const PointList &stroke)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::getStrokeRectBound");
    double minX = kBoundStart;
    double minY = kBoundStart;
    double maxX = -kBoundStart;
    double maxY = -kBoundStart;
    for (const QPointF &p : stroke) {
        if (p.x() < minX)
            minX = p.x();
        if (p.x() > maxX)
            maxX = p.x();
        if (p.y() < minY)
            minY = p.y();
        if (p.y() > maxY)
            maxY = p.y();
    }
    const QRectF bound(minX, minY, maxX - minX, maxY - minY);
    UTILITY_TRACE_EXIT("CFigureRecogniser::getStrokeRectBound");
    return bound;
}

namespace {

// The vector divided by its length; a zero vector stays (0, 0).
inline QPointF unitVector(const QPointF &v)
{
    const double length = Util::getVectorSize(v);
    if (length == 0.0)
        return QPointF(0.0, 0.0);
    return QPointF(v.x() / length, v.y() / length);
}

inline double degreesFromCosine(double dot)
{
    if (dot > 1.0)
        dot = 1.0;
    else if (dot < -1.0)
        dot = -1.0;
    return std::acos(dot) * kDegreesPerRadian;
}

} // namespace

double CFigureRecogniser::calcAngle(const QPointF &u, const QPointF &v)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::calcAngle");
    // Folded into the first quadrant: the angle between two lines, 0 to 90 degrees,
    // whichever way each was drawn.
    const QPointF a = unitVector(u);
    const QPointF b = unitVector(v);
    const double degrees =
        degreesFromCosine(std::fabs(a.x()) * std::fabs(b.x()) + std::fabs(a.y()) * std::fabs(b.y()));
    UTILITY_TRACE_EXIT("CFigureRecogniser::calcAngle");
    return degrees;
}

double CFigureRecogniser::calcAngle180(const QPointF &u, const QPointF &v)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::calcAngle180");
    const QPointF a = unitVector(u);
    const QPointF b = unitVector(v);
    const double degrees = degreesFromCosine(a.x() * b.x() + a.y() * b.y());
    UTILITY_TRACE_EXIT("CFigureRecogniser::calcAngle180");
    return degrees;
}

bool CFigureRecogniser::isHorizontalAngle(double degrees, double tolerance)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::isHorizontalAngle");
    const bool horizontal = -tolerance < degrees && degrees < tolerance;
    UTILITY_TRACE_EXIT("CFigureRecogniser::isHorizontalAngle");
    return horizontal;
}

bool CFigureRecogniser::isVerticalAngle(double degrees, double tolerance)
{
    UTILITY_TRACE_ENTER("CFigureRecogniser::isVerticalAngle");
    const bool vertical = 90.0 - tolerance < degrees && degrees < 90.0 + tolerance;
    UTILITY_TRACE_EXIT("CFigureRecogniser::isVerticalAngle");
    return vertical;
}
