#ifndef UTILITY_TOOLS_HANDMODEL_H
#define UTILITY_TOOLS_HANDMODEL_H

#include <QPointF>
#include <QString>
#include <QVector>

#include <cstdint>

// Synthetic but hand-like scribbles for the demo, so that it runs on a bare clone
// without any public data set: figures are drawn along their ideal outline with a
// seeded model of a hand on a whiteboard. The pen moves at an uneven speed, wobbles
// with a slow tremor and a little high-frequency jitter, overshoots where a closed
// figure meets its start, and delivers integer pixels.
namespace HandModel {

struct LabelledScribble
{
    QString label;
    QVector<QVector<QPointF>> strokes;
};

// The demo's default set: a few dozen labelled scribbles of every figure the
// recogniser knows, plus crossing pairs and barbed lines. The same seed always
// gives the same scribbles.
QVector<LabelledScribble> defaultSet(std::uint32_t seed = 20261122u);

} // namespace HandModel

#endif // UTILITY_TOOLS_HANDMODEL_H
