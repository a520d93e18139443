// The libFuzzer entry of one harness; FUZZ_HARNESS names it (see CMakeLists.txt).
#include "harness.h"

#include <logging/logsystem.h>

#include <QGuiApplication>
#include <QString>

#include <cstring>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // Image and font code needs a GUI application and a platform plugin, but
    // never a display.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static QGuiApplication application(*argc, *argv);
    // Hostile input makes the library warn on almost every run; printing each
    // warning would cost more than the run itself.
    CLogSystem::theRootInstance->setSink([](basic_logging::Severity, const std::string &) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static Fuzz::Harness harness = [] {
        for (const Fuzz::Entry *entry = Fuzz::harnesses(); entry->name; ++entry)
            if (std::strcmp(entry->name, FUZZ_HARNESS) == 0)
                return entry->run;
        return static_cast<Fuzz::Harness>(nullptr);
    }();
    Fuzz::check(harness != nullptr, "unknown harness");
    return harness(data, size);
}
