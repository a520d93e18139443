// Writing and reading the fragment of a 10,000-element list of maps, the shape a
// document of many small records takes.
#include <utility/variantutil.h>

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QDateTime>
#include <QVariant>

namespace {

QVariant records(int count)
{
    QVariantList list;
    list.reserve(count);
    const QDateTime when(QDate(2024, 5, 6), QTime(7, 8, 9));
    for (int i = 0; i < count; ++i) {
        QVariantMap map;
        map.insert(QStringLiteral("id"), i);
        map.insert(QStringLiteral("x"), i * 0.25);
        map.insert(QStringLiteral("visible"), i % 2 == 0);
        map.insert(QStringLiteral("label"), QStringLiteral("item %1").arg(i));
        map.insert(QStringLiteral("created"), when.addSecs(i));
        map.insert(QStringLiteral("thumb"), QByteArray("\x01\x02\x03\x04\x05\x06", 6));
        list.append(map);
    }
    return list;
}

void BM_WriteListOfMaps(benchmark::State &state)
{
    const QVariant value = records(static_cast<int>(state.range(0)));
    const CXMLSerializeInfo info;
    qint64 bytes = 0;
    for (auto _ : state) {
        const QString fragment = CVariantUtil::variantToXMLFragment(info, value);
        bytes = fragment.size() * 2;
        benchmark::DoNotOptimize(fragment.constData());
    }
    state.SetBytesProcessed(state.iterations() * bytes);
    state.counters["fragment_chars"] = static_cast<double>(bytes / 2);
}
BENCHMARK(BM_WriteListOfMaps)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_ReadListOfMaps(benchmark::State &state)
{
    const QString fragment = CVariantUtil::variantToXMLFragment(CXMLSerializeInfo(), records(static_cast<int>(state.range(0))));
    for (auto _ : state) {
        const QVariant value = CVariantUtil::variantFromXMLFragment(fragment);
        if (value.toList().size() != state.range(0))
            state.SkipWithError("the fragment did not read back");
        benchmark::DoNotOptimize(value.constData());
    }
    state.SetBytesProcessed(state.iterations() * fragment.size() * 2);
}
BENCHMARK(BM_ReadListOfMaps)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
