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

template <typename Interface> class Object : public Interface
{
public:
    Object() { ++alive; }
    virtual ~Object() { --alive; }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    HRESULT WINAPI QueryInterface(REFIID, void** object) override
    {
        AddRef();
        *object = static_cast<Interface*>(this);
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

private:
    ULONG m_references = 1; // whoever made it
};

class Bag : public Object<IPropertyBag>
{
public:
    explicit Bag(const Properties& properties)
        : m_properties(properties)
    {
    }
    HRESULT WINAPI Read(LPCOLESTR name, VARIANT* value, IErrorLog*) override
    {
        const auto found = m_properties.constFind(QString::fromWCharArray(name));
        if (found == m_properties.constEnd())
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        value->vt = VT_BSTR;
        value->bstrVal = SysAllocString(found->toStdWString().c_str());
        return S_OK;
    }
    HRESULT WINAPI Write(LPCOLESTR, VARIANT*) override { return E_NOTIMPL; }

private:
    const Properties m_properties;
};

class Moniker : public Object<IMoniker>
{
public:
    explicit Moniker(const std::optional<Properties>& properties)
        : m_properties(properties)
    {
    }
    HRESULT WINAPI BindToStorage(IBindCtx*, IMoniker*, REFIID, void** storage) override
    {
        if (!m_properties)
            return MK_E_NOSTORAGE;
        *storage = static_cast<IPropertyBag*>(new Bag(*m_properties));
        return S_OK;
    }
    // clang-format off
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
    const std::optional<Properties> m_properties;
};

class Enumerator : public Object<IEnumMoniker>
{
public:
    explicit Enumerator(const List& list)
        : m_list(list)
    {
    }
    HRESULT WINAPI Next(ULONG, IMoniker** moniker, ULONG*) override
    {
        if (m_next == m_list.devices.size())
            return S_FALSE;
        *moniker = new Moniker(m_list.devices[m_next++]);
        return S_OK;
    }
    HRESULT WINAPI Skip(ULONG) override { return E_NOTIMPL; }
    HRESULT WINAPI Reset() override { return E_NOTIMPL; }
    HRESULT WINAPI Clone(IEnumMoniker**) override { return E_NOTIMPL; }

private:
    const List m_list;
    size_t m_next = 0;
};

class Devices : public Object<ICreateDevEnum>
{
public:
    explicit Devices(const List& list)
        : m_list(list)
    {
    }
    HRESULT WINAPI CreateClassEnumerator(
        REFCLSID category, IEnumMoniker** enumerator, DWORD) override
    {
        *enumerator = nullptr;
        if (m_list.categoryResult != S_OK || category != CLSID_VideoInputDeviceCategory)
            return m_list.categoryResult;
        *enumerator = new Enumerator(m_list);
        return S_OK;
    }

private:
    const List m_list;
};

class Factory : public Object<IClassFactory>
{
public:
    explicit Factory(const List& list)
        : m_list(list)
    {
    }
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID, void** object) override
    {
        *object = static_cast<ICreateDevEnum*>(new Devices(m_list));
        return S_OK;
    }
    HRESULT WINAPI LockServer(WINBOOL) override { return S_OK; }

private:
    const List m_list;
};

/// The list stands in while this lives.
class Scope
{
public:
    explicit Scope(const List& list)
    {
        auto* factory = new Factory(list);
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
