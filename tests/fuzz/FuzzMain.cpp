#include "fuzz/FuzzTargets.h"

#include <QCoreApplication>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

void onlyFatal(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type != QtFatalMsg)
        return;
    fprintf(stderr, "%s\n", qPrintable(message));
    std::abort();
}

} // namespace

/// libFuzzer's entry into the target that the build names.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static int argc = 1;
    static char name[] = "fuzz";
    static char* argv[] = { name, nullptr };
    static const QCoreApplication application(argc, argv);
    static const FuzzTarget& target = []() -> const FuzzTarget& {
        qInstallMessageHandler(onlyFatal);
        for (const FuzzTarget& each : FuzzTargets) {
            if (std::strcmp(each.name, PODIUMCAST_FUZZ_TARGET) == 0)
                return each;
        }
        std::abort();
    }();
    target.run(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    return 0;
}
