#include "slidesource/SlideSourceNDI.h"

#include <QDebug>
#include <QTimer>

#include <new>

using namespace Qt::StringLiterals;

namespace {

// The receiver queues ten frames and hands out the oldest first; the status change that begins a
// connection, and the final "nothing", may come on top. A source that delivers faster than this
// takes would otherwise hold the thread for ever.
constexpr int MaxCallsPerCapture = 12;

bool isPicture(const NdiRuntime::VideoFrame& frame)
{
    const bool fourBytes
        = frame.fourCc == NdiRuntime::FourCcRgba || frame.fourCc == NdiRuntime::FourCcRgbx;
    return fourBytes && frame.data && frame.width > 0 && frame.height > 0
        && (frame.lineStride == 0 || frame.lineStride >= frame.width * 4);
}

// One copy, line by line where the lines are padded: the frame goes back to the runtime at once.
cv::Mat copyPicture(const NdiRuntime::VideoFrame& frame)
{
    const size_t step = frame.lineStride == 0 ? size_t(cv::Mat::AUTO_STEP) : frame.lineStride;
    return cv::Mat(frame.height, frame.width, CV_8UC4, frame.data, step).clone();
}

} // namespace

SlideSourceNDI::SlideSourceNDI(const SlidesSourceInfo& info)
    : SlideSource(info)
{
}

SlideSourceNDI::~SlideSourceNDI() = default;

void SlideSourceNDI::run()
{
    emit slidesFrozenChanged();
    emit slidesResolutionsChanged();
    if (!createNDISource())
        return;
    m_sourceThread = currentThreadId();
    createCaptureTimer();
    runCaptureLoop(*m_captureTimer);
    destroyCaptureTimer();
    destroyNDISource();
    emit stopped();
}

bool SlideSourceNDI::createNDISource()
{
    const NdiRuntime* runtime = NdiRuntime::instance();
    if (runtime) {
        const NdiRuntime::RecvCreate settings{ { nullptr, nullptr },
            NdiRuntime::ColorFormatRgbxRgba, NdiRuntime::BandwidthHighest, true, nullptr };
        m_receiver = runtime->recvCreate(&settings);
    }
    if (!m_receiver) {
        qWarning().noquote() << "[SlideSourceNDI]"
                             << "creating NDI receiver failed" << NdiRuntime::errorString();
        emit captureError(tr("Creating NDI receiver failed. No slides will be captured."));
        return false;
    }
    const QByteArray name = slidesSourceInfo().name().toUtf8();
    const QByteArray url = slidesSourceInfo().data(u"ndiUrlAddress"_s).toString().toUtf8();
    const NdiRuntime::Source source{ name.constData(), url.constData() };
    runtime->recvConnect(m_receiver, &source);
    return true;
}

void SlideSourceNDI::destroyNDISource()
{
    NdiRuntime::instance()->recvDestroy(m_receiver);
    m_receiver = nullptr;
}

void SlideSourceNDI::createCaptureTimer()
{
    m_captureTimer = newCaptureTimer([this] { capture(false); });
}

void SlideSourceNDI::destroyCaptureTimer()
{
    m_captureTimer.reset();
}

void SlideSourceNDI::captureSlide()
{
    if (currentThreadId() != m_sourceThread) {
        qWarning() << "[SlideSourceNDI]"
                   << "captureSlide can only be called from the slide source thread";
        return;
    }
    capture(true);
}

int SlideSourceNDI::takeNewest(cv::Mat& picture)
{
    const NdiRuntime* runtime = NdiRuntime::instance();
    NdiRuntime::VideoFrame newest{};
    int newestType = NdiRuntime::None;
    for (int call = 0; call < MaxCallsPerCapture; ++call) {
        NdiRuntime::VideoFrame frame{};
        const int type = runtime->recvCapture(m_receiver, &frame, nullptr, nullptr, 0);
        if (type == NdiRuntime::None)
            break;
        if (newestType == NdiRuntime::Video)
            runtime->recvFreeVideo(m_receiver, &newest);
        newest = frame;
        newestType = type;
    }
    if (newestType != NdiRuntime::Video)
        return newestType;
    try {
        if (isPicture(newest))
            picture = copyPicture(newest);
    } catch (const std::exception& error) { // no memory for the copy
        qWarning() << "[SlideSourceNDI]"
                   << "copying a frame failed" << error.what();
    }
    runtime->recvFreeVideo(m_receiver, &newest);
    return picture.empty() ? int(NdiRuntime::Error) : newestType;
}

void SlideSourceNDI::capture(bool forceNewSlide)
{
    if (!m_receiver)
        return;
    const qint64 time = currentSlideTime();
    cv::Mat picture;
    const int type = takeNewest(picture);
    if (type == NdiRuntime::None)
        return;
    if (type != NdiRuntime::Video) {
        qWarning() << "[SlideSourceNDI]"
                   << "invalid frame type" << type;
        emit captureError(tr("Invalid frame captured from NDI."));
        return;
    }
    const QList<SlideImage> slides{ SlideImage{
        new cv::Mat(picture), sharedImage(picture, QImage::Format_RGBA8888) } };
    updateSlidesResolutions(slides);
    emit slidesCaptured(time, slides, forceNewSlide);
}
