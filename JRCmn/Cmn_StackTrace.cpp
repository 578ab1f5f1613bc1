#include <cstring>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_FrameName.h"
#include "JRCmn/Internal/Cmn_LastError.h"
#include "JRCmn/Internal/Cmn_StackWalk.h"

#if defined(_MSC_VER)
#include <intrin.h>
#define CMN_RETURN_ADDRESS() _ReturnAddress()
#else
#define CMN_RETURN_ADDRESS() __builtin_return_address(0)
#endif

using namespace NorvikLibInternal;

namespace {

void TraceFrame(int number, uint64_t address) {
    const FrameName name = NameFrame(address, true);
    char place[96];
    _snprintf(place, sizeof place, "%s+0x%I64x", name.module, name.offset);
    place[sizeof place - 1] = 0;
    if (name.line) {
        Cmn_Trace("  #%02d %-32s %s (%s:%u)\n", number, place, name.function, name.source, name.line);
    } else if (name.function[0]) {
        Cmn_Trace("  #%02d %-32s %s\n", number, place, name.function);
    } else {
        Cmn_Trace("  #%02d %s\n", number, place);
    }
}

// The frames in order, each module named where it begins: "Stack: A.exe 0x1400012ab 0x140001510, B.dll
// 0x180004711".
class AddressLine {
public:
    ~AddressLine() { Flush(); }

    void Add(uint64_t address) {
        const FrameName name = NameFrame(address, false);
        if (mLength > kLongLine) Flush();
        const bool changes = std::strcmp(mModule, name.module) != 0;
        if (changes) std::memcpy(mModule, name.module, sizeof mModule);
        mLength += _snprintf(mText + mLength, sizeof mText - mLength, "%s%s%s 0x%I64x",
                             changes && mLength ? "," : "", changes ? " " : "", changes ? mModule : "",
                             name.linkAddress);
    }

private:
    static constexpr int kLongLine = 1400;  // a viewer of logs still shows it

    void Flush() {
        Cmn_Trace("  Stack:%s\n", mLength ? mText : " no frames");
        mLength = 0;
        mModule[0] = 0;
    }

    char mText[kLongLine + 200] = "";
    int mLength = 0;
    char mModule[sizeof FrameName::module] = "";
};

}  // namespace

void NorvikLibInternal::TraceStack(const StackFrames& frames, bool symbols) {
    for (int i = 0; symbols && i < frames.count; ++i)
        TraceFrame(i, frames.addresses[i]);
    AddressLine line;
    for (int i = 0; i < frames.count; ++i)
        line.Add(frames.addresses[i]);
}

void Cmn_Assert::PrintStackTrace(int skipFrames, const void* context, bool symbols) {
    const LastErrorKeeper keeper;
    const StackFrames frames = context ? WalkStack(*static_cast<const CONTEXT*>(context), skipFrames)
                                       : WalkOwnStack(CMN_RETURN_ADDRESS(), skipFrames);
    TraceStack(frames, symbols);
}
