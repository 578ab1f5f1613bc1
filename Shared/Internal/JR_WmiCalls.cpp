#include "Shared/Internal/JR_WmiCalls.h"

#include "JRCmn/Internal/Cmn_DynamicLibrary.h"

namespace NorvikLibInternal {
namespace {

DynamicFunction<decltype(&::CoInitializeEx)> gCoInitializeEx("ole32.dll", "CoInitializeEx");
DynamicFunction<decltype(&::CoUninitialize)> gCoUninitialize("ole32.dll", "CoUninitialize");
DynamicFunction<decltype(&::CoCreateInstance)> gCoCreateInstance("ole32.dll", "CoCreateInstance");
DynamicFunction<decltype(&::CoSetProxyBlanket)> gCoSetProxyBlanket("ole32.dll", "CoSetProxyBlanket");

WmiCalls gCalls = {
    &OrMissing<gCoInitializeEx, E_NOTIMPL>::Call,
    &OrMissing<gCoUninitialize, 0>::Call,
    &OrMissing<gCoCreateInstance, E_NOTIMPL>::Call,
    &OrMissing<gCoSetProxyBlanket, E_NOTIMPL>::Call,
};

}  // namespace

WmiCalls& GetWmiCalls() {
    return gCalls;
}

}  // namespace NorvikLibInternal
