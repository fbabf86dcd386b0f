#include "slidesource/SlidesSourceInfo.h"

#include <QDebug>

#include <windows.h>

#include <dshow.h>
#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

namespace {

/// COM for the calling thread, for the time of one enumeration.
class ComScope
{
public:
    ComScope()
        : m_usable(SUCCEEDED(CoInitialize(nullptr)))
    {
    }
    ~ComScope()
    {
        if (m_usable)
            CoUninitialize();
    }
    ComScope(const ComScope&) = delete;
    ComScope& operator=(const ComScope&) = delete;

    [[nodiscard]] bool usable() const { return m_usable; }

private:
    const bool m_usable;
};

QString readText(IPropertyBag* properties, const wchar_t* key)
{
    VARIANT value;
    VariantInit(&value);
    QString text;
    if (SUCCEEDED(properties->Read(key, &value, nullptr)) && value.vt == VT_BSTR)
        text = QString::fromWCharArray(value.bstrVal, int(SysStringLen(value.bstrVal)));
    VariantClear(&value);
    return text;
}

// S_FALSE, with a null pointer, says that the category is empty.
ComPtr<IEnumMoniker> videoInputs()
{
    ComPtr<ICreateDevEnum> devices;
    ComPtr<IEnumMoniker> inputs;
    if (FAILED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER,
            IID_ICreateDevEnum, reinterpret_cast<void**>(devices.GetAddressOf())))
        || devices->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, inputs.GetAddressOf(), 0)
            != S_OK)
        return nullptr;
    return inputs;
}

} // namespace

QList<SlidesSourceInfo> SlidesSourceInfo::availableSlideSourcesWindowsDirectShow()
{
    QList<SlidesSourceInfo> infos;
    const ComScope com; // outlives the pointers below
    if (!com.usable()) {
        qWarning() << "[SlidesSourceInfo]"
                   << "cannot initialise COM to list video inputs";
        return infos;
    }
    const ComPtr<IEnumMoniker> inputs = videoInputs();
    if (!inputs) {
        qWarning() << "[SlidesSourceInfo]"
                   << "cannot enumerate video inputs";
        return infos;
    }

    int index = -1;
    for (ComPtr<IMoniker> input;
         inputs->Next(1, input.ReleaseAndGetAddressOf(), nullptr) == S_OK;) {
        ComPtr<IPropertyBag> properties;
        if (FAILED(input->BindToStorage(nullptr, nullptr, IID_IPropertyBag,
                reinterpret_cast<void**>(properties.GetAddressOf())))) {
            qWarning() << "[SlidesSourceInfo]"
                       << "cannot bind to storage for video input";
            continue;
        }
        QString name = readText(properties.Get(), L"FriendlyName");
        if (name.isEmpty())
            name = readText(properties.Get(), L"Description");
        if (name.isEmpty()) {
            qWarning() << "[SlidesSourceInfo]"
                       << "cannot get a device name for a video input";
            continue;
        }
        const QString path = readText(properties.Get(), L"DevicePath");
        ++index;
        infos.append(SlidesSourceInfo(videoInputEnabledByName(name), VideoInput,
            (path.isEmpty() ? name : path).toUtf8(), index, name));
    }
    return infos;
}

QList<SlidesSourceInfo> SlidesSourceInfo::availableSlideSourcesV4L2()
{
    return {}; // this platform has its own listing
}
