#include "slidesource/NdiRuntime.h"

#include <QDebug>
#include <QLibrary>
#include <QOperatingSystemVersion>

#include <cstddef>

using namespace Qt::StringLiterals;

// The runtime reads and writes these structures: a wrong offset would be memory corruption.
static_assert(sizeof(NdiRuntime::Source) == 16);
static_assert(sizeof(NdiRuntime::FindCreate) == 24);
static_assert(sizeof(NdiRuntime::RecvCreate) == 40);
static_assert(offsetof(NdiRuntime::RecvCreate, allowVideoFields) == 24);
static_assert(sizeof(NdiRuntime::VideoFrame) == 72);
static_assert(offsetof(NdiRuntime::VideoFrame, timecode) == 32);
static_assert(offsetof(NdiRuntime::VideoFrame, lineStride) == 48);

namespace {

template <typename Function> bool resolve(QLibrary& library, const char* symbol, Function& function)
{
    function = reinterpret_cast<Function>(library.resolve(symbol));
    return function != nullptr;
}

struct Loaded
{
    QString error;
    std::unique_ptr<NdiRuntime> runtime = NdiRuntime::load(error);
};

// Never destroyed: the runtime's own threads, and a worker of ours that a driver holds up, may
// still use it while the process ends.
const Loaded& loaded()
{
    static const Loaded* loaded = new Loaded;
    return *loaded;
}

} // namespace

const NdiRuntime* NdiRuntime::instance()
{
    return loaded().runtime.get();
}

QString NdiRuntime::errorString()
{
    return loaded().error;
}

QStringList NdiRuntime::candidates()
{
    const bool windows = QOperatingSystemVersion::currentType() == QOperatingSystemVersion::Windows;
    const QStringList names = windows ? QStringList{ u"Processing.NDI.Lib.x64.dll"_s }
                                      : QStringList{ u"libndi.so.6"_s, u"libndi.so.5"_s };
    QStringList paths;
    for (const char* variable : { "NDI_RUNTIME_DIR_V6", "NDI_RUNTIME_DIR_V5" }) {
        const QString directory = qEnvironmentVariable(variable);
        if (directory.isEmpty())
            continue;
        for (const QString& name : names)
            paths.append(directory + u'/' + name);
    }
    return paths + names;
}

std::unique_ptr<NdiRuntime> NdiRuntime::load(QString& error)
{
    error.clear();
    QStringList problems;
    for (const QString& path : candidates()) {
        QLibrary library(path);
        // The runtime keeps threads of its own: unloading it would pull the code from under them.
        library.setLoadHints(QLibrary::PreventUnloadHint);
        if (!library.load()) {
            problems.append(library.errorString());
            continue;
        }
        std::unique_ptr<NdiRuntime> runtime(new NdiRuntime);
        if (!resolve(library, "NDIlib_initialize", runtime->initialize)
            || !resolve(library, "NDIlib_find_create_v2", runtime->findCreate)
            || !resolve(library, "NDIlib_find_get_current_sources", runtime->findGetCurrentSources)
            || !resolve(library, "NDIlib_find_destroy", runtime->findDestroy)
            || !resolve(library, "NDIlib_recv_create_v3", runtime->recvCreate)
            || !resolve(library, "NDIlib_recv_connect", runtime->recvConnect)
            || !resolve(library, "NDIlib_recv_capture_v3", runtime->recvCapture)
            || !resolve(library, "NDIlib_recv_free_video_v2", runtime->recvFreeVideo)
            || !resolve(library, "NDIlib_recv_destroy", runtime->recvDestroy)) {
            problems.append(path + u" lacks functions of the NDI runtime"_s);
            continue;
        }
        if (!runtime->initialize()) {
            problems.append(path + u" cannot run on this processor"_s);
            continue;
        }
        qDebug() << "[NdiRuntime]"
                 << "using" << library.fileName();
        return runtime;
    }
    error = u"no usable NDI runtime: "_s + problems.join(u"; "_s);
    return nullptr;
}
