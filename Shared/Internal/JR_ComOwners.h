#pragma once

// Owners of what COM hands out: interfaces, texts and variants.
//
//   ComOwner<IWbemLocator> locator;
//   if (SUCCEEDED(create(__uuidof(IWbemLocator), locator.PutVoid()))) locator->...
//
// Threads:   as what they own
// Ownership: released in the destructor
// Errors:    a text for which there is no memory is null
// Units:     none

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

// After windows.h, which comes without OLE.
#include <oleauto.h>

namespace NorvikLibInternal {

// oleaut32 is loaded by the first use, not with the program.
inline DynamicFunction<decltype(&::SysAllocString)> gSysAllocString("oleaut32.dll", "SysAllocString");
inline DynamicFunction<decltype(&::SysFreeString)> gSysFreeString("oleaut32.dll", "SysFreeString");
inline DynamicFunction<decltype(&::VariantClear)> gVariantClear("oleaut32.dll", "VariantClear");

template <typename Interface>
class ComOwner {
public:
    ComOwner() = default;
    ~ComOwner() {
        if (mObject) mObject->Release();
    }
    ComOwner(const ComOwner&) = delete;
    ComOwner& operator=(const ComOwner&) = delete;

    // For a call that hands one out, once.
    Interface** Put() { return &mObject; }
    void** PutVoid() { return reinterpret_cast<void**>(&mObject); }
    Interface* Get() const { return mObject; }
    Interface* operator->() const { return mObject; }
    explicit operator bool() const { return mObject != nullptr; }
    Interface* Release() {
        Interface* const object = mObject;
        mObject = nullptr;
        return object;
    }

private:
    Interface* mObject = nullptr;
};

class ComText {
public:
    explicit ComText(const wchar_t* text) : mText(gSysAllocString ? gSysAllocString(text) : nullptr) {}
    ~ComText() {
        if (mText) gSysFreeString(mText);
    }
    ComText(const ComText&) = delete;
    ComText& operator=(const ComText&) = delete;

    BSTR Get() const { return mText; }

private:
    const BSTR mText;
};

// Empty at first.
class ComVariant : public VARIANT {
public:
    ComVariant() : VARIANT() {}
    ~ComVariant() {
        if (gVariantClear) gVariantClear(static_cast<VARIANT*>(this));
    }
    ComVariant(const ComVariant&) = delete;
    ComVariant& operator=(const ComVariant&) = delete;
};

}  // namespace NorvikLibInternal
