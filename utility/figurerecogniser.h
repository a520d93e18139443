#ifndef UTILITY_FIGURERECOGNISER_H
#define UTILITY_FIGURERECOGNISER_H

#include <utility/utility_export.h>

#include <QPointF>
#include <QRectF>
#include <QVector>

// Recognition of hand-drawn figures. classifyScribble() takes the strokes of one
// scribble and says what the pen drew: a straight line, a line with a barb, a caret,
// a three-segment stroke, two crossing lines, a polygon of 3 to `vertexLimit`
// corners (tidied on request) or a closed curve. Everything else stays handwriting.
//
// Category codes (the return value):
//     0    cHANDWRITE_DATA: not a figure
//   101    closed curve, or a closed polygon with more corners than vertexLimit;
//          rect = bounding box of the joined stroke
//   102    closed polygon; points = its corners (each once, starting with the corner
//          after the first), rect = their bounding box
//   103    straight line not within 10 degrees of horizontal
//   205    straight line within 10 degrees of horizontal
//   114    line with a short barb at one end
//   115    long middle segment with a short end segment folded back at each side
//   203    two comparable arms opening to the right ('<')
//   204    two comparable arms opening to the left ('>')
//   206    two straight strokes that cross, not within 10 degrees of perpendicular
//
// The rectangles of 103, 205, 114 and 115 are not normalised: they run from the
// point (left, top) to the point (left + width, top + height), which is how a line
// keeps its direction.
//
// All members are static and re-entrant. The recogniser never throws and never
// reports errors: anything it cannot read as a figure is 0.
class UTILITY_EXPORT CFigureRecogniser
{
public:
    using PointList = QVector<QPointF>;
    using StrokeList = QVector<QVector<QPointF>>;

    // The code of ink that stays handwriting.
    static const int cHANDWRITE_DATA = 0;
    // Tolerance in degrees of every horizontal, vertical and perpendicular test.
    static const double THRESHOLD_ANGLE;

    // Classifies the strokes of one scribble (in drawing order, coordinates in pixels).
    // `points` is written only for 102. `connected`, when given, receives the strokes
    // as they were joined for classification. An empty stroke list, strokes without
    // points and non-finite coordinates give 0 and write nothing.
    static int classifyScribble(const StrokeList &strokes, QRectF &rect, PointList &points,
                                int vertexLimit, bool normalize, StrokeList *connected = nullptr);

private:
    // The unit tests and the recognition report (bench/) reach the stages through
    // this class; the library itself never defines it.
    friend class FigureRecogniserProbe;

    // Dispatch and the category decisions.
    static int classifyRecogCategory(StrokeList &strokes, QRectF &rect, StrokeList &corners,
                                     int vertexLimit, bool normalize);
    static int checkCloseFigure(PointList &stroke, StrokeList &corners, int vertexLimit, bool normalize);
    static int classifyCloseFigure(PointList &corners, int vertexLimit, bool normalize);
    static int check1OpenStroke(const PointList &stroke, QRectF &rect);
    static int checkOpenStroke(PointList &a, PointList &b, QRectF &rect);

    // Joining strokes.
    static bool makeConnectedStroke(StrokeList &strokes);
    static int intersectConnect(PointList &a, PointList &b);
    static bool nearConnect(PointList &a, PointList &b);
    static void normalizePointOrder(PointList &a, PointList &b);
    static int searchHigeIndex(PointList &stroke, double length, QVector<double> &cumulative);
    static bool connect1Stroke(PointList &stroke);
    static int checkConnectSpecialEdge(const PointList &a, const PointList &b, int &i, int &j);
    static int checkBranchStroke(const PointList &a, const PointList &b, int i, int j, QRectF &rect);

    // Corners of a closed stroke.
    static void removeShortSegment(PointList &corners);
    static void removeExtraPoint(PointList &corners);
    static bool checkVectorDirection(const PointList &corners);
    static bool hasSelfIntersection(const PointList &corners);
    static void divideStrokeLength(const PointList &stroke, int segment, const QPointF &point,
                                   double &before, double &after);
    static void getAllSegmentRect(const PointList &stroke, QVector<QRectF> &rects);

    // Triangles.
    static void normalizeTriangle(PointList &corners);
    static void setSideHorizontal(PointList &corners, int side);
    static void setSideVertical(PointList &corners, int side);
    static void normalizeRightTriangle(PointList &corners, int horizontalSide, int verticalSide);
    static void normalizeHorizontalIsoscelesTriangle(PointList &corners, int base);
    static void normalizeVerticalIsoscelesTriangle(PointList &corners, int base);

    // Quadrangles.
    static void normalizeQuadrangle(PointList &corners);
    static void normalizeQuadrangleAux(PointList &corners, bool horizontal, const double (&toHorizontal)[4],
                                       const double (&toVertical)[4]);
    static bool normalizeKite(PointList &corners);
    static void normalizeKiteAux(PointList &corners);
    static void normalizeRectangle(PointList &corners, bool horizontal);
    static void normalizeParallelogramOrTrapezium(PointList &corners, bool horizontal);
    static void shiftVertexList(PointList &corners);

    // Regular polygons.
    static QPointF getCenterPoint(const PointList &corners);
    static double getRadius(const PointList &corners, const QPointF &center);
    static void setRegularPolygon(double startDegrees, PointList &corners);
    static void normalizePentagon(PointList &corners);
    static void normalizeHexagon(PointList &corners);

    // Shared by every stage.
    static void makeSmoothPoints(const StrokeList &strokes, StrokeList &smoothed, double tolerance);
    static QRectF getStrokeRectBound(const PointList &stroke);
    static double calcAngle(const QPointF &u, const QPointF &v);
    static double calcAngle180(const QPointF &u, const QPointF &v);
    static bool isHorizontalAngle(double degrees, double tolerance);
    static bool isVerticalAngle(double degrees, double tolerance);
};

#endif // UTILITY_FIGURERECOGNISER_H
