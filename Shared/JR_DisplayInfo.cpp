#include "Shared/JR_DisplayInfo.h"

#include <string>

#include "JRCmn/Cmn_Trace.h"
#include "Shared/Internal/JR_ComOwners.h"
#include "Shared/Internal/JR_WmiCalls.h"

// After OLE.
#include <wbemcli.h>

using namespace NorvikLibInternal;

namespace {

DynamicFunction<decltype(&::SafeArrayGetDim)> gSafeArrayGetDim("oleaut32.dll", "SafeArrayGetDim");
DynamicFunction<decltype(&::SafeArrayGetLBound)> gSafeArrayGetLBound("oleaut32.dll", "SafeArrayGetLBound");
DynamicFunction<decltype(&::SafeArrayGetUBound)> gSafeArrayGetUBound("oleaut32.dll", "SafeArrayGetUBound");
DynamicFunction<decltype(&::SafeArrayGetElement)> gSafeArrayGetElement("oleaut32.dll", "SafeArrayGetElement");

constexpr long kTimeout = 10'000;  // for one monitor
const HRESULT kTimedOut = HRESULT_FROM_WIN32(ERROR_TIMEOUT);

using WmiObject = ComOwner<IWbemClassObject>;

struct Mode {
    long width = 0, height = 0;
};

// Traces a failure of this property.
bool Succeeded(HRESULT result, const char* property) {
    if (SUCCEEDED(result)) return true;
    Cmn_Trace("JR_DisplayInfo: Could not get %s: hresult is %#X.\n", property, static_cast<unsigned>(result));
    return false;
}

HRESULT GetProperty(IWbemClassObject& object, const char* name, VARIANT& outValue) {
    const std::wstring wideName(name, name + std::char_traits<char>::length(name));
    return object.Get(wideName.c_str(), 0, &outValue, nullptr, nullptr);
}

// WMI gives the smaller kinds of numbers as the larger signed ones; the others are taken, too.
HRESULT ToNumber(const VARIANT& value, long& outNumber) {
    switch (value.vt) {
        case VT_I4:
            outNumber = value.lVal;
            return S_OK;
        case VT_I2:
            outNumber = value.iVal;
            return S_OK;
        case VT_UI2:
            outNumber = value.uiVal;
            return S_OK;
        case VT_UI1:
            outNumber = value.bVal;
            return S_OK;
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

bool GetNumber(IWbemClassObject& object, const char* name, long& outNumber) {
    ComVariant value;
    const HRESULT result = GetProperty(object, name, value);
    return Succeeded(SUCCEEDED(result) ? ToNumber(value, outNumber) : result, name);
}

// The object at a place of an array of objects, counted from 0.
HRESULT GetElement(const VARIANT& value, long index, WmiObject& outObject) {
    if (value.vt != (VT_ARRAY | VT_UNKNOWN) || !value.parray) return DISP_E_TYPEMISMATCH;
    if (gSafeArrayGetDim(value.parray) != 1) return DISP_E_TYPEMISMATCH;
    LONG first = 0, last = -1;
    HRESULT result = gSafeArrayGetLBound(value.parray, 1U, &first);
    if (SUCCEEDED(result)) result = gSafeArrayGetUBound(value.parray, 1U, &last);
    if (FAILED(result)) return result;
    const LONGLONG place = LONGLONG{first} + index;
    if (index < 0 || place > last) return DISP_E_BADINDEX;
    LONG position = static_cast<LONG>(place);
    ComOwner<IUnknown> element;
    result = gSafeArrayGetElement(value.parray, &position, element.PutVoid());
    if (FAILED(result)) return result;
    return element ? element->QueryInterface(__uuidof(IWbemClassObject), outObject.PutVoid()) : E_POINTER;
}

// What a monitor says of itself.
struct Monitor {
    long modeCount = 0;
    long preferredMode = 0;
    ComVariant modes;
};

bool ReadMonitor(IWbemClassObject& object, Monitor& outMonitor) {
    return GetNumber(object, "NumOfMonitorSourceModes", outMonitor.modeCount) &&
           GetNumber(object, "PreferredMonitorSourceModeIndex", outMonitor.preferredMode) &&
           Succeeded(GetProperty(object, "MonitorSourceModes", outMonitor.modes), "MonitorSourceModes");
}

bool ReadOnlyMode(const Monitor& monitor, Mode& outMode) {
    WmiObject mode;
    return Succeeded(GetElement(monitor.modes, monitor.preferredMode, mode), "MonitorSourceModes") &&
           GetNumber(*mode.Get(), "HorizontalActivePixels", outMode.width) &&
           GetNumber(*mode.Get(), "VerticalActivePixels", outMode.height);
}

enum class EAnswer { No, Yes, Failed };

EAnswer HasOnlyMode(IWbemClassObject& object, long width, long height) {
    Monitor monitor;
    if (!ReadMonitor(object, monitor)) return EAnswer::Failed;
    if (monitor.modeCount > 1) {
        Cmn_Trace("Fixed display configuration: break 3 (more than 1 mode).\n");
        return EAnswer::No;
    }
    if (monitor.modeCount < 1) {
        Cmn_Trace("JR_DisplayInfo: A monitor lists no modes.\n");
        return EAnswer::No;
    }
    Mode mode;
    if (!ReadOnlyMode(monitor, mode)) return EAnswer::Failed;
    return mode.width == width && mode.height == height ? EAnswer::Yes : EAnswer::No;
}

bool Connect(IWbemServices*& outServices) {
    const WmiCalls& calls = GetWmiCalls();
    ComOwner<IWbemLocator> locator;
    if (FAILED(calls.createInstance(__uuidof(WbemLocator), nullptr, CLSCTX_INPROC_SERVER,
                                    __uuidof(IWbemLocator), locator.PutVoid())) ||
        !locator) {
        Cmn_Trace("JR_DisplayInfo: Failed to create IWbemLocator object. Cannot get Monitor Info.\n");
        return false;
    }
    const ComText name(L"ROOT\\WMI");
    ComOwner<IWbemServices> services;
    // Without the flag, a WMI that does not answer would hold the program for ever.
    if (FAILED(locator->ConnectServer(name.Get(), nullptr, nullptr, nullptr, WBEM_FLAG_CONNECT_USE_MAX_WAIT,
                                      nullptr, nullptr, services.Put())) ||
        !services) {
        Cmn_Trace("JR_DisplayInfo: Failed to connect. Cannot get Monitor Info.\n");
        return false;
    }
    if (FAILED(calls.setProxyBlanket(services.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                     RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,
                                     EOAC_NONE))) {
        Cmn_Trace("JR_DisplayInfo: Could not set proxy blanket. Cannot get Monitor Info.\n");
        return false;
    }
    outServices = services.Release();
    return true;
}

}  // namespace

JR_DisplayInfo::JR_DisplayInfo() {
    mHasInitializedCOM = SUCCEEDED(GetWmiCalls().initialize(nullptr, COINIT_MULTITHREADED));
    if (!mHasInitializedCOM) {
        Cmn_Trace("JR_DisplayInfo: Failed to initialize COM. Cannot get Monitor Info.\n");
        return;
    }
    Connect(mServices);
}

JR_DisplayInfo::~JR_DisplayInfo() {
    if (mServices) mServices->Release();
    if (mHasInitializedCOM) GetWmiCalls().uninitialize();
}

bool JR_DisplayInfo::IsFixedResolutionDisplayConnected(int width, int height) {
    constexpr char kList[] = "WmiMonitorListedSupportedSourceModes";
    if (!mServices) return false;
    const ComText language(L"WQL");
    const ComText query(L"SELECT * FROM WmiMonitorListedSupportedSourceModes");
    ComOwner<IEnumWbemClassObject> monitors;
    const HRESULT result =
        mServices->ExecQuery(language.Get(), query.Get(),
                             WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, monitors.Put());
    if (!Succeeded(result, kList) || !monitors) return false;
    for (;;) {
        WmiObject monitor;
        ULONG count = 0;
        const HRESULT next = monitors->Next(kTimeout, 1, monitor.Put(), &count);
        // A time-out is no error to WMI, but it is no answer, either.
        if (!Succeeded(next == WBEM_S_TIMEDOUT ? kTimedOut : next, kList)) return false;
        if (count == 0 || !monitor) return false;
        const EAnswer answer = HasOnlyMode(*monitor.Get(), width, height);
        if (answer != EAnswer::No) return answer == EAnswer::Yes;
    }
}
