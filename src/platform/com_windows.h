// COM objects and the thread's part in COM.
#pragma once

#include <windows.h>
#include <memory>
#include <objbase.h>

namespace kestr {

struct CComReleaser {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using CComHolder = std::unique_ptr<Interface, CComReleaser>;

/// The object that `make(&object)` gives out; null when it fails, whatever it wrote then.
template <typename Interface, typename Make>
CComHolder<Interface> TakeCom(Make make) {
    Interface* object = nullptr;
    const HRESULT result = make(&object);
    return CComHolder<Interface>(SUCCEEDED(result) ? object : nullptr);
}

template <typename Interface>
CComHolder<Interface> QueryCom(IUnknown* object) {
    return TakeCom<Interface>([&](Interface** out) {
        return object->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(out));
    });
}

/// Lets the thread use COM during its life. A caller's own choice of apartment stands; where there
/// is none the thread joins the multithreaded one and has left it again at the end.
class CComApartment {
public:
    CComApartment() : m_result(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    ~CComApartment() {
        if (SUCCEEDED(m_result)) CoUninitialize();
    }
    CComApartment(const CComApartment&) = delete;
    CComApartment& operator=(const CComApartment&) = delete;
    /// A thread that is in a single-threaded apartment already is as good.
    [[nodiscard]] bool Usable() const {
        return SUCCEEDED(m_result) || m_result == RPC_E_CHANGED_MODE;
    }

private:
    HRESULT m_result;
};

}  // namespace kestr
