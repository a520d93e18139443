// Replays every stored fuzz input (the seed corpora and the minimised inputs of
// past crashes) through its harness once. Under the sanitizer build this is the
// regression suite of the fuzzing campaigns.
#include "harness.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <gtest/gtest.h>

TEST(FuzzReplay, EveryStoredInputPassesItsHarness)
{
    int replayed = 0;
    for (const Fuzz::Entry *entry = Fuzz::harnesses(); entry->name; ++entry) {
        for (const char *kind : {"corpus", "regressions"}) {
            const QString dir = QStringLiteral(UTILITY_SOURCE_DIR "/fuzz/%1/%2").arg(QLatin1String(kind), QLatin1String(entry->name));
            QDirIterator files(dir, QDir::Files, QDirIterator::Subdirectories);
            while (files.hasNext()) {
                QFile file(files.next());
                ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
                const QByteArray bytes = file.readAll();
                SCOPED_TRACE(file.fileName().toStdString());
                entry->run(reinterpret_cast<const std::uint8_t *>(bytes.constData()), static_cast<std::size_t>(bytes.size()));
                ++replayed;
            }
        }
    }
    EXPECT_GT(replayed, 0);
}
