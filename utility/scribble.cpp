#include <utility/scribble.h>

#include <utility/binaryread.h>

#include "ink_p.h"
#include "trace_p.h"

#include <algorithm>

CScribble::CScribble()
    : m_bound(0, 0, 0, 0)
    , m_cacheValid(true)
    , m_reserved(false)
{
}

CScribble::CScribble(const CScribble &other) = default;

CScribble &CScribble::operator=(const CScribble &other)
{
    if (this != &other) {
        m_strokes = other.m_strokes;
        m_bound = other.m_bound;
        m_cacheValid = other.m_cacheValid;
        m_reserved = other.m_reserved;
    }
    return *this;
}

CScribble::~CScribble() = default;

const CStroke &CScribble::getStrokeAt(long i) const
{
    UTILITY_TRACE_ENTER("CScribble::getStrokeAt");
    const CStroke &stroke = m_strokes.at(static_cast<std::size_t>(i));
    UTILITY_TRACE_EXIT("CScribble::getStrokeAt");
    return stroke;
}

CStroke &CScribble::getStrokeAt(long i)
{
    UTILITY_TRACE_ENTER("CScribble::getStrokeAt");
    // The caller may change the stroke through the reference.
    invalidateCache();
    CStroke &stroke = m_strokes.at(static_cast<std::size_t>(i));
    UTILITY_TRACE_EXIT("CScribble::getStrokeAt");
    return stroke;
}

void CScribble::addStroke(const CStroke &s)
{
    UTILITY_TRACE_ENTER("CScribble::addStroke");
    // The cache is deliberately left as it is; documents rely on the bound staying
    // put until the next change.
    m_strokes.push_back(s);
    UTILITY_TRACE_EXIT("CScribble::addStroke");
}

void CScribble::addStroke(long n)
{
    UTILITY_TRACE_ENTER("CScribble::addStroke");
    if (n > 0) {
        m_strokes.resize(m_strokes.size() + static_cast<std::size_t>(n));
        invalidateCache();
    }
    UTILITY_TRACE_EXIT("CScribble::addStroke");
}

void CScribble::removeStroke(int first, int last)
{
    UTILITY_TRACE_ENTER("CScribble::removeStroke");
    if (first >= 0 && first <= last && last < getStrokeNum())
        m_strokes.erase(m_strokes.begin() + first, m_strokes.begin() + last + 1);
    invalidateCache();
    UTILITY_TRACE_EXIT("CScribble::removeStroke");
}

void CScribble::merge(const CScribble &other)
{
    UTILITY_TRACE_ENTER("CScribble::merge");
    // Copied first: merging a scribble into itself must not read what it appends.
    const std::vector<CStroke> strokes = other.m_strokes;
    m_strokes.insert(m_strokes.end(), strokes.begin(), strokes.end());
    invalidateCache();
    UTILITY_TRACE_EXIT("CScribble::merge");
}

void CScribble::extract(long first, long last)
{
    UTILITY_TRACE_ENTER("CScribble::extract");
    const long count = getStrokeNum();
    if (first >= 0 && first <= last && last < count) {
        if (last < count - 1)
            m_strokes.erase(m_strokes.begin() + last + 1, m_strokes.end());
        if (first > 0)
            m_strokes.erase(m_strokes.begin(), m_strokes.begin() + first);
        invalidateCache();
    }
    UTILITY_TRACE_EXIT("CScribble::extract");
}

void CScribble::shiftPoints(int d)
{
    UTILITY_TRACE_ENTER("CScribble::shiftPoints");
    for (CStroke &stroke : m_strokes)
        stroke.move(QSize(d, d));
    updateRectBound();
    UTILITY_TRACE_EXIT("CScribble::shiftPoints");
}

void CScribble::move(const QSize &d)
{
    UTILITY_TRACE_ENTER("CScribble::move");
    for (CStroke &stroke : m_strokes)
        stroke.move(d);
    invalidateCache();
    UTILITY_TRACE_EXIT("CScribble::move");
}

void CScribble::setPos(const QPoint &centre, double sx, double sy)
{
    UTILITY_TRACE_ENTER("CScribble::setPos");
    const QPoint whole = getRectBound().center(); // before any stroke moves
    for (CStroke &stroke : m_strokes) {
        const QPoint own = stroke.getRectBound().center();
        const QPoint newCentre(
            Ink::wrapAdd(Ink::truncToInt(static_cast<double>(Ink::wrapSub(own.x(), whole.x())) * sx), centre.x()),
            Ink::wrapAdd(Ink::truncToInt(static_cast<double>(Ink::wrapSub(own.y(), whole.y())) * sy), centre.y()));
        stroke.setPos(newCentre, sx, sy);
    }
    invalidateCache();
    UTILITY_TRACE_EXIT("CScribble::setPos");
}

void CScribble::setPos(const CNRect &target)
{
    UTILITY_TRACE_ENTER("CScribble::setPos");
    const CNRect &bound = getRectBound();
    const int boundWidth = bound.right() - bound.left();
    const int boundHeight = bound.bottom() - bound.top();
    const double sx = boundWidth == 0 ? 1.0 : static_cast<double>(target.right() - target.left()) / boundWidth;
    const double sy = boundHeight == 0 ? 1.0 : static_cast<double>(target.bottom() - target.top()) / boundHeight;
    setPos(target.center(), Ink::snapNearOne(sx), Ink::snapNearOne(sy));
    // The requested rectangle, not one recomputed from the rounded points: fitting
    // the same ink twice must not creep.
    m_bound = target;
    m_cacheValid = true;
    UTILITY_TRACE_EXIT("CScribble::setPos");
}

const CNRect &CScribble::getRectBound() const
{
    UTILITY_TRACE_ENTER("CScribble::getRectBound");
    if (!m_cacheValid)
        updateRectBound();
    UTILITY_TRACE_EXIT("CScribble::getRectBound");
    return m_bound;
}

void CScribble::updateRectBound() const
{
    UTILITY_TRACE_ENTER("CScribble::updateRectBound");
    if (m_strokes.empty()) {
        m_bound = CNRect(0, 0, 0, 0);
    } else {
        // An empty stroke joins in with its null bound at the origin.
        CNRect bound = m_strokes.front().getRectBound();
        for (std::size_t i = 1; i < m_strokes.size(); ++i) {
            const CNRect &other = m_strokes[i].getRectBound();
            const int right = std::max(bound.right(), other.right());
            const int bottom = std::max(bound.bottom(), other.bottom());
            bound.setLeft(std::min(bound.left(), other.left()));
            bound.setTop(std::min(bound.top(), other.top()));
            bound.setRight(right);
            bound.setBottom(bottom);
        }
        m_bound = bound;
    }
    m_cacheValid = true;
    UTILITY_TRACE_EXIT("CScribble::updateRectBound");
}

void CScribble::invalidateCache()
{
    m_cacheValid = false;
}

bool CScribble::equals(const CScribble *other) const
{
    UTILITY_TRACE_ENTER("CScribble::equals");
    bool result = false;
    if (other == this) {
        result = true;
    } else if (other && other->m_strokes.size() == m_strokes.size()) {
        result = true;
        for (std::size_t i = 0; i < m_strokes.size() && result; ++i)
            result = m_strokes[i].equals(&other->m_strokes[i]);
    }
    UTILITY_TRACE_EXIT("CScribble::equals");
    return result;
}

void CScribble::readFrom(std::istream &in)
{
    UTILITY_TRACE_ENTER("CScribble::readFrom");
    int count = 0;
    binaryRead(in, count);
    m_strokes.clear();
    // The strokes are appended as they arrive rather than allocated up front: the
    // count of a corrupt record must not become a huge allocation.
    // One stroke object is reused for reading: each read gives it a fresh point
    // list, and the copy appended shares that list instead of carrying the spare
    // capacity of a new stroke.
    CStroke stroke;
    for (int i = 0; i < count && in; ++i) {
        stroke.readFrom(in);
        if (!in && stroke.getPointNum() == 0)
            break; // nothing of this stroke was there
        m_strokes.push_back(stroke);
    }
    updateRectBound();
    UTILITY_TRACE_EXIT("CScribble::readFrom");
}

void CScribble::writeTo(std::ostream &out) const
{
    UTILITY_TRACE_ENTER("CScribble::writeTo");
    binaryWrite(out, static_cast<int>(m_strokes.size()));
    for (const CStroke &stroke : m_strokes)
        stroke.writeTo(out);
    UTILITY_TRACE_EXIT("CScribble::writeTo");
}
