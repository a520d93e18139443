#include "handmodel.h"

#include <QLineF>

#include <cmath>
#include <random>

namespace HandModel {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Uniform numbers straight from the engine's bits: std::uniform_real_distribution
// differs between standard libraries, and the demo must draw the same everywhere.
class Random
{
public:
    explicit Random(std::uint32_t seed) : m_engine(seed) {}
    double uniform(double low, double high)
    {
        return low + (high - low) * (static_cast<double>(m_engine()) / 4294967296.0);
    }

private:
    std::mt19937 m_engine;
};

struct HandParameters
{
    double tremorAmplitude;  // pixels of slow wobble
    double jitter;           // pixels of fast noise
    double meanStep;         // pixels between samples at full speed
};

// Walks along the polyline `path` like a pen: slower near corners and at the ends,
// with a wobble across the direction of travel.
QVector<QPointF> drawAlong(const QVector<QPointF> &path, Random &random, const HandParameters &hand)
{
    QVector<QPointF> out;
    if (path.size() < 2)
        return out;
    const double phase1 = random.uniform(0, 2 * kPi), phase2 = random.uniform(0, 2 * kPi);
    const double frequency1 = random.uniform(0.015, 0.03), frequency2 = random.uniform(0.05, 0.09);
    double travelled = 0;
    for (int segment = 0; segment + 1 < path.size(); ++segment) {
        const QPointF a = path[segment], b = path[segment + 1];
        const double length = QLineF(a, b).length();
        if (length <= 0)
            continue;
        const QPointF along = (b - a) / length;
        const QPointF across(-along.y(), along.x());
        double t = 0;
        while (t < length) {
            // Slow down near both ends of a segment, as a hand does at a corner.
            const double nearCorner = std::min(t, length - t);
            const double speed = 0.35 + 0.65 * std::min(1.0, nearCorner / 25.0);
            const double wobble = hand.tremorAmplitude
                    * (std::sin(frequency1 * (travelled + t) + phase1) + 0.5 * std::sin(frequency2 * (travelled + t) + phase2))
                + random.uniform(-hand.jitter, hand.jitter);
            const QPointF p = a + along * t + across * wobble;
            out.append(QPointF(std::round(p.x()), std::round(p.y())));
            t += hand.meanStep * speed * random.uniform(0.6, 1.4);
        }
        travelled += length;
    }
    out.append(QPointF(std::round(path.last().x()), std::round(path.last().y())));
    // A pen reports the same pixel repeatedly while it hardly moves.
    QVector<QPointF> unique;
    for (const QPointF &p : out)
        if (unique.isEmpty() || unique.last() != p)
            unique.append(p);
    return unique;
}

QVector<QPointF> polygon(const QPointF &centre, double radius, int corners, double rotation, double squash = 1.0)
{
    QVector<QPointF> points;
    for (int i = 0; i < corners; ++i) {
        const double a = rotation + 2 * kPi * i / corners;
        points.append(centre + QPointF(radius * std::cos(a), radius * squash * std::sin(a)));
    }
    return points;
}

// Closes an outline and lets the pen run a little past its start.
QVector<QPointF> closedWithOvershoot(QVector<QPointF> corners, Random &random)
{
    const QPointF start = corners.first();
    const QPointF next = corners.size() > 1 ? corners[1] : start;
    corners.append(start);
    const double fraction = random.uniform(0.02, 0.10);
    corners.append(start + (next - start) * fraction);
    return corners;
}

QVector<QPointF> ellipse(const QPointF &centre, double rx, double ry, Random &random)
{
    QVector<QPointF> points;
    const double start = random.uniform(0, 2 * kPi);
    const int steps = 48;
    const double sweep = 2 * kPi * random.uniform(1.02, 1.08);
    for (int i = 0; i <= steps; ++i) {
        const double a = start + sweep * i / steps;
        points.append(centre + QPointF(rx * std::cos(a), ry * std::sin(a)));
    }
    return points;
}

} // namespace

QVector<LabelledScribble> defaultSet(std::uint32_t seed)
{
    Random random(seed);
    QVector<LabelledScribble> set;
    const QPointF c(200, 200);
    auto hand = [&random]() {
        return HandParameters{random.uniform(0.8, 2.5), random.uniform(0.3, 1.0), random.uniform(4.0, 9.0)};
    };
    auto oneStroke = [&](const QString &label, const QVector<QPointF> &path) {
        set.append({label, {drawAlong(path, random, hand())}});
    };

    for (int i = 0; i < 3; ++i) {
        const double angle = random.uniform(-0.08, 0.08) + (i == 2 ? kPi / 3 : 0);
        const double half = random.uniform(90, 160);
        const QPointF d(half * std::cos(angle), half * std::sin(angle));
        oneStroke(QStringLiteral("line"), {c - d, c + d});
    }
    for (int i = 0; i < 3; ++i) {
        const double arm = random.uniform(80, 130), spread = random.uniform(50, 80);
        const bool opensRight = i % 2 == 0;
        const QPointF joint = c + QPointF(opensRight ? -arm / 2 : arm / 2, 0);
        const double dx = opensRight ? arm : -arm;
        oneStroke(QStringLiteral("caret"), {joint + QPointF(dx, -spread), joint, joint + QPointF(dx, spread)});
    }
    for (int i = 0; i < 4; ++i) {
        const double r = random.uniform(90, 140);
        oneStroke(QStringLiteral("triangle"), closedWithOvershoot(polygon(c, r, 3, -kPi / 2 + random.uniform(-0.1, 0.1)), random));
    }
    for (int i = 0; i < 4; ++i) {
        const double r = random.uniform(100, 150);
        oneStroke(QStringLiteral("square"), closedWithOvershoot(polygon(c, r, 4, kPi / 4 + random.uniform(-0.05, 0.05)), random));
    }
    for (int i = 0; i < 3; ++i) {
        const double r = random.uniform(100, 150);
        oneStroke(QStringLiteral("diamond"), closedWithOvershoot(polygon(c, r, 4, random.uniform(-0.05, 0.05), 0.75), random));
    }
    for (int i = 0; i < 3; ++i)
        oneStroke(QStringLiteral("pentagon"), closedWithOvershoot(polygon(c, random.uniform(100, 150), 5, -kPi / 2), random));
    for (int i = 0; i < 3; ++i) {
        const QVector<QPointF> outer = polygon(c, random.uniform(110, 150), 5, -kPi / 2);
        QVector<QPointF> star;
        for (int k = 0; k < 5; ++k)
            star.append(outer[(k * 2) % 5]);
        oneStroke(QStringLiteral("star"), closedWithOvershoot(star, random));
    }
    for (int i = 0; i < 3; ++i)
        oneStroke(QStringLiteral("hexagon"), closedWithOvershoot(polygon(c, random.uniform(100, 150), 6, 0), random));
    for (int i = 0; i < 3; ++i)
        oneStroke(QStringLiteral("ellipse"), ellipse(c, random.uniform(90, 150), random.uniform(60, 110), random));
    for (int i = 0; i < 3; ++i) {
        const double a = random.uniform(0.1, 0.5), b = a + random.uniform(1.0, 1.3);
        const double r = random.uniform(100, 140);
        const QPointF d1(r * std::cos(a), r * std::sin(a)), d2(r * std::cos(b), r * std::sin(b));
        set.append({QStringLiteral("cross"), {drawAlong({c - d1, c + d1}, random, hand()), drawAlong({c - d2, c + d2}, random, hand())}});
    }
    for (int i = 0; i < 3; ++i) {
        // A shaft, then a short barb drawn back from its tip.
        const double length = random.uniform(180, 260);
        const QPointF tail = c - QPointF(length / 2, 0), tip = c + QPointF(length / 2, random.uniform(-10, 10));
        const double barb = random.uniform(35, 55);
        if (i == 0) {
            oneStroke(QStringLiteral("barbed line"), {tail, tip, tip + QPointF(-barb, -barb * 0.8)});
        } else {
            set.append({QStringLiteral("barbed line"),
                        {drawAlong({tail, tip}, random, hand()), drawAlong({tip + QPointF(-barb, -barb * 0.8), tip}, random, hand())}});
        }
    }
    return set;
}

} // namespace HandModel
