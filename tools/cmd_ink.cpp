// recognise and demo: the figure recogniser on ink files and on the built-in set.
#include "command.h"
#include "handmodel.h"
#include "inkio.h"
#include "sheet.h"

#include <utility/figurerecogniser.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>

namespace {

Recognition recognise(const StrokeList &strokes, int vertexLimit, bool normalize)
{
    Recognition result;
    if (strokes.isEmpty())
        return result;
    result.category = CFigureRecogniser::classifyScribble(strokes, result.rect, result.corners, vertexLimit, normalize, nullptr);
    if (result.category != 102)
        result.corners.clear();
    return result;
}

QJsonArray pointsToJson(const QVector<QPointF> &points)
{
    QJsonArray array;
    for (const QPointF &p : points)
        array.append(QJsonArray{p.x(), p.y()});
    return array;
}

QString rectText(const QRectF &r)
{
    return QStringLiteral("%1,%2 %3x%4").arg(r.x(), 0, 'g', 6).arg(r.y(), 0, 'g', 6)
        .arg(r.width(), 0, 'g', 6).arg(r.height(), 0, 'g', 6);
}

QString cornersText(const QVector<QPointF> &points)
{
    QStringList parts;
    for (const QPointF &p : points)
        parts << QStringLiteral("(%1,%2)").arg(p.x(), 0, 'g', 6).arg(p.y(), 0, 'g', 6);
    return parts.join(QLatin1Char(' '));
}

bool savePng(const QImage &image, const QString &path, const QString &command, int &status)
{
    if (!image.save(path, "PNG")) {
        status = Cli::fail(command, QStringLiteral("cannot write %1").arg(path));
        return false;
    }
    return true;
}

} // namespace

int runRecognise(const QStringList &arguments)
{
    const QString command = QStringLiteral("recognise");
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("INK"), QStringLiteral("JSON-lines ink file, or a binary scribble record"));
    const QCommandLineOption png(QStringLiteral("png"), QStringLiteral("Draw the ink and the recognised figures into OUT."), QStringLiteral("OUT"));
    const QCommandLineOption vertexLimit(QStringLiteral("vertex-limit"), QStringLiteral("Largest corner count reported as a polygon (default 6)."), QStringLiteral("N"), QStringLiteral("6"));
    const QCommandLineOption noNormalize(QStringLiteral("no-normalize"), QStringLiteral("Keep the corners as drawn instead of regularising them."));
    const QCommandLineOption extent(QStringLiteral("extent"), QStringLiteral("Scale the set so that its median scribble spans PX pixels (for data sets in other units)."), QStringLiteral("PX"));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("One JSON object per scribble."));
    parser.addOptions({png, vertexLimit, noNormalize, extent, json});
    int status = 0;
    if (!Cli::parse(parser, command, QStringLiteral("Classifies every scribble of an ink file: category code, meaning, rectangle and corners."), arguments, status))
        return status;
    if (parser.positionalArguments().size() != 1)
        return Cli::fail(command, QStringLiteral("expects exactly one INK file (see --help)"), 2);
    bool ok = false;
    const int limit = parser.value(vertexLimit).toInt(&ok);
    if (!ok || limit < 3)
        return Cli::fail(command, QStringLiteral("--vertex-limit wants a whole number of at least 3"), 2);

    QVector<InkScribble> scribbles;
    QString error;
    int skipped = 0;
    if (!InkIO::read(parser.positionalArguments().first(), scribbles, error, &skipped))
        return Cli::fail(command, error);
    if (parser.isSet(extent)) {
        const double px = parser.value(extent).toDouble(&ok);
        if (!ok || px <= 0)
            return Cli::fail(command, QStringLiteral("--extent wants a positive number of pixels"), 2);
        InkIO::scaleToPixels(scribbles, px);
    }

    QVector<Recognition> results;
    for (const InkScribble &scribble : scribbles) {
        const Recognition r = recognise(scribble.strokes, limit, !parser.isSet(noNormalize));
        results.append(r);
        if (parser.isSet(json)) {
            const QJsonObject object{{QStringLiteral("id"), scribble.id},
                                     {QStringLiteral("label"), scribble.label},
                                     {QStringLiteral("category"), r.category},
                                     {QStringLiteral("meaning"), Sheet::describe(r.category, r.corners.size())},
                                     {QStringLiteral("rect"), QJsonArray{r.rect.x(), r.rect.y(), r.rect.width(), r.rect.height()}},
                                     {QStringLiteral("corners"), pointsToJson(r.corners)}};
            Cli::out(QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
        } else {
            Cli::out(QStringLiteral("%1\t%2\t%3\t%4\t%5\t%6").arg(scribble.id, scribble.label).arg(r.category)
                         .arg(Sheet::describe(r.category, r.corners.size()), rectText(r.rect), cornersText(r.corners)));
        }
    }
    if (skipped > 0)
        Cli::fail(command, QStringLiteral("skipped %1 lines that are not ink").arg(skipped), 0);
    if (parser.isSet(png) && !savePng(Sheet::contactSheet(scribbles, results), parser.value(png), command, status))
        return status;
    return 0;
}

int runDemo(const QStringList &arguments)
{
    const QString command = QStringLiteral("demo");
    QCommandLineParser parser;
    const QCommandLineOption ink(QStringLiteral("ink"), QStringLiteral("Use a JSON-lines ink data set instead of the built-in scribbles; it is scaled to whiteboard pixels."), QStringLiteral("FILE"));
    const QCommandLineOption out(QStringLiteral("out"), QStringLiteral("Where to write the contact sheet (default wbutil-demo.png)."), QStringLiteral("PNG"), QStringLiteral("wbutil-demo.png"));
    const QCommandLineOption limit(QStringLiteral("limit"), QStringLiteral("Draw at most N scribbles on the sheet (default 64)."), QStringLiteral("N"), QStringLiteral("64"));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Print the table as JSON."));
    parser.addOptions({ink, out, limit, json});
    int status = 0;
    if (!Cli::parse(parser, command, QStringLiteral("Recognises a labelled set of scribbles (hand-drawn figures made by a seeded tremor model, or a real data set), prints label against recognised figure and writes a contact sheet."), arguments, status))
        return status;
    if (!parser.positionalArguments().isEmpty())
        return Cli::fail(command, QStringLiteral("takes no arguments (see --help)"), 2);
    bool ok = false;
    const int sheetLimit = parser.value(limit).toInt(&ok);
    if (!ok || sheetLimit < 1)
        return Cli::fail(command, QStringLiteral("--limit wants a positive whole number"), 2);

    QVector<InkScribble> scribbles;
    if (parser.isSet(ink)) {
        QString error;
        if (!InkIO::read(parser.value(ink), scribbles, error))
            return Cli::fail(command, error);
        InkIO::scaleToPixels(scribbles);
    } else {
        for (const HandModel::LabelledScribble &s : HandModel::defaultSet())
            scribbles.append({s.label, s.label, s.strokes});
    }

    QVector<Recognition> results;
    QMap<QString, QMap<QString, int>> table;   // label -> result -> count
    QStringList labels;
    for (int i = 0; i < scribbles.size(); ++i) {
        if (i % 500 == 0)
            Cli::progress(QStringLiteral("recognising %1 of %2").arg(i).arg(scribbles.size()));
        const Recognition r = recognise(scribbles[i].strokes, 6, true);
        results.append(r);
        if (!table.contains(scribbles[i].label))
            labels << scribbles[i].label;
        table[scribbles[i].label][QStringLiteral("%1 %2").arg(r.category).arg(Sheet::describe(r.category, r.corners.size()))]++;
    }
    Cli::endProgress();

    if (parser.isSet(json)) {
        QJsonArray rows;
        for (const QString &label : labels) {
            QJsonObject counts;
            for (auto it = table[label].cbegin(); it != table[label].cend(); ++it)
                counts.insert(it.key(), it.value());
            rows.append(QJsonObject{{QStringLiteral("label"), label}, {QStringLiteral("results"), counts}});
        }
        Cli::out(QString::fromUtf8(QJsonDocument(rows).toJson(QJsonDocument::Indented)).trimmed());
    } else {
        Cli::out(QStringLiteral("%1  %2  %3").arg(QStringLiteral("label"), -14).arg(QStringLiteral("n"), 4).arg(QStringLiteral("recognised as")));
        for (const QString &label : labels) {
            int total = 0;
            QStringList parts;
            QVector<QPair<int, QString>> sorted;
            for (auto it = table[label].cbegin(); it != table[label].cend(); ++it) {
                total += it.value();
                sorted.append({it.value(), it.key()});
            }
            std::sort(sorted.begin(), sorted.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
            for (const auto &entry : sorted)
                parts << QStringLiteral("%1 x%2").arg(entry.second).arg(entry.first);
            Cli::out(QStringLiteral("%1  %2  %3").arg(label, -14).arg(total, 4).arg(parts.join(QStringLiteral(", "))));
        }
    }

    // The sheet shows a spread sample: every k-th scribble.
    QVector<InkScribble> shown;
    QVector<Recognition> shownResults;
    const int step = std::max(1, static_cast<int>((scribbles.size() + sheetLimit - 1) / sheetLimit));
    for (int i = 0; i < scribbles.size() && shown.size() < sheetLimit; i += step) {
        shown.append(scribbles[i]);
        shownResults.append(results[i]);
    }
    const QString path = parser.value(out);
    if (!savePng(Sheet::contactSheet(shown, shownResults), path, command, status))
        return status;
    if (!parser.isSet(json))
        Cli::out(QStringLiteral("contact sheet: %1").arg(QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath())));
    return 0;
}
