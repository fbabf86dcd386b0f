#pragma once

#include <QMap>
#include <QString>

#include <windows.h>

#include <dshow.h>

#include <optional>
#include <vector>

/// Stands in for the system's list of cameras on the calling thread, with faults that no real one
/// makes to order, and counts what is still referenced. COM must be initialised on the thread.
namespace FakeVideoInputs {

using Properties = QMap<QString, QString>;

struct List
{
    HRESULT categoryResult = S_OK;
    std::vector<std::optional<Properties>> devices; ///< without properties: cannot be bound
};

inline int alive = 0; ///< objects that somebody holds a reference to

/// The factory, the list, its enumerator, a device or its properties: what a caller was handed.
class Object : public IClassFactory,
               public ICreateDevEnum,
               public IEnumMoniker,
               public IMoniker,
               public IPropertyBag
{
public:
    explicit Object(const List& list, size_t device = 0)
        : m_list(list)
        , m_device(device)
    {
        ++alive;
    }
    virtual ~Object() { --alive; }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    HRESULT WINAPI QueryInterface(REFIID, void** object) override // asked of the factory only
    {
        AddRef();
        *object = static_cast<IClassFactory*>(this);
        return S_OK;
    }
    ULONG WINAPI AddRef() override { return ++m_references; }
    ULONG WINAPI Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT WINAPI CreateInstance(IUnknown*, REFIID, void** object) override
    {
        *object = static_cast<ICreateDevEnum*>(new Object(m_list));
        return S_OK;
    }
    HRESULT WINAPI CreateClassEnumerator(
        REFCLSID category, IEnumMoniker** enumerator, DWORD) override
    {
        *enumerator = nullptr;
        if (m_list.categoryResult != S_OK || category != CLSID_VideoInputDeviceCategory)
            return m_list.categoryResult;
        *enumerator = new Object(m_list);
        return S_OK;
    }
    HRESULT WINAPI Next(ULONG, IMoniker** moniker, ULONG*) override
    {
        if (m_device == m_list.devices.size())
            return S_FALSE;
        *moniker = new Object(m_list, m_device++);
        return S_OK;
    }
    HRESULT WINAPI BindToStorage(IBindCtx*, IMoniker*, REFIID, void** storage) override
    {
        if (!m_list.devices[m_device])
            return MK_E_NOSTORAGE;
        *storage = static_cast<IPropertyBag*>(new Object(m_list, m_device));
        return S_OK;
    }
    HRESULT WINAPI Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override
    {
        const Properties& properties = *m_list.devices[m_device];
        const auto found = properties.constFind(QString::fromWCharArray(name));
        if (found == properties.constEnd())
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        value->vt = VT_BSTR;
        value->bstrVal = SysAllocString(found->toStdWString().c_str());
        return S_OK;
    }

    // clang-format off
    HRESULT WINAPI LockServer(WINBOOL) override { return S_OK; }
    HRESULT WINAPI Skip(ULONG) override { return E_NOTIMPL; }
    HRESULT WINAPI Reset() override { return E_NOTIMPL; }
    HRESULT WINAPI Clone(IEnumMoniker**) override { return E_NOTIMPL; }
    HRESULT WINAPI Write(LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }
    HRESULT WINAPI GetClassID(CLSID*) override { return E_NOTIMPL; }
    HRESULT WINAPI IsDirty() override { return E_NOTIMPL; }
    HRESULT WINAPI Load(IStream*) override { return E_NOTIMPL; }
    HRESULT WINAPI Save(IStream*, WINBOOL) override { return E_NOTIMPL; }
    HRESULT WINAPI GetSizeMax(ULARGE_INTEGER*) override { return E_NOTIMPL; }
    HRESULT WINAPI BindToObject(IBindCtx*, IMoniker*, REFIID, void**) override { return E_NOTIMPL; }
    HRESULT WINAPI Reduce(IBindCtx*, DWORD, IMoniker**, IMoniker**) override { return E_NOTIMPL; }
    HRESULT WINAPI ComposeWith(IMoniker*, WINBOOL, IMoniker**) override { return E_NOTIMPL; }
    HRESULT WINAPI Enum(WINBOOL, IEnumMoniker**) override { return E_NOTIMPL; }
    HRESULT WINAPI IsEqual(IMoniker*) override { return E_NOTIMPL; }
    HRESULT WINAPI Hash(DWORD*) override { return E_NOTIMPL; }
    HRESULT WINAPI IsRunning(IBindCtx*, IMoniker*, IMoniker*) override { return E_NOTIMPL; }
    HRESULT WINAPI GetTimeOfLastChange(IBindCtx*, IMoniker*, FILETIME*) override { return E_NOTIMPL; }
    HRESULT WINAPI Inverse(IMoniker**) override { return E_NOTIMPL; }
    HRESULT WINAPI CommonPrefixWith(IMoniker*, IMoniker**) override { return E_NOTIMPL; }
    HRESULT WINAPI RelativePathTo(IMoniker*, IMoniker**) override { return E_NOTIMPL; }
    HRESULT WINAPI GetDisplayName(IBindCtx*, IMoniker*, LPOLESTR*) override { return E_NOTIMPL; }
    HRESULT WINAPI ParseDisplayName(IBindCtx*, IMoniker*, LPOLESTR, ULONG*, IMoniker**) override { return E_NOTIMPL; }
    HRESULT WINAPI IsSystemMoniker(DWORD*) override { return E_NOTIMPL; }
    // clang-format on

private:
    ULONG m_references = 1; // whoever made it
    const List m_list;
    size_t m_device; ///< the next one, for an enumerator
};

/// The list stands in while this lives.
class Scope
{
public:
    explicit Scope(const List& list)
    {
        IClassFactory* factory = new Object(list);
        CoRegisterClassObject(
            CLSID_SystemDeviceEnum, factory, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &m_cookie);
        factory->Release();
    }
    ~Scope() { CoRevokeClassObject(m_cookie); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

private:
    DWORD m_cookie = 0;
};

} // namespace FakeVideoInputs
