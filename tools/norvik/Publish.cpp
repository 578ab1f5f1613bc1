// norvik publish: announces a service by hand.

#include "JRCmn/Internal/Cmn_Windows.h"

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_BonjourServicePublisher.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_EventManager.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Internal/Cmn_DnsSd.h"
#include "tools/norvik/Discovery.h"

namespace NorvikTool {
namespace {

constexpr unsigned cStepMilliseconds = 500;

TxtRecord ParseRecord(const std::vector<std::string>& words, size_t first) {
    TxtRecord record;
    for (size_t i = first; i < words.size(); ++i) {
        const size_t equals = words[i].find('=');
        if (equals == std::string::npos || equals == 0)
            throw UsageError("expected key=value, not '" + words[i] + "'");
        record.SetKey(words[i].substr(0, equals), words[i].substr(equals + 1));
    }
    return record;
}

// Reads the input to its end.
long WaitForEndOfInput() {
    char bytes[256];
    DWORD count = 0;
    while (::ReadFile(::GetStdHandle(STD_INPUT_HANDLE), bytes, sizeof bytes, &count, nullptr) && count > 0) {
    }
    return 0;
}

int RunPublish(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const std::vector<std::string>& words = arguments.Positionals();
    if (words.size() < 3) throw UsageError("expected: publish NAME TYPE PORT [key=value ...]");
    const unsigned short port = ParsePort(words[2], 1);
    const TxtRecord record = ParseRecord(words, 3);
    if (!FindLibrary(arguments)) return cFailure;

    Cmn_EventManager manager;
    gIF_EventManager = &manager;
    Cmn_BonjourServicePublisher publisher(words[1].c_str());
    publisher.SetTXTRecord(record);
    const auto tell = [&](const Cmn_BonjourError& error) {
        PrintDaemonState(error);
        if (!error.IsOK()) return;
        PrintFormat("Announced %s %s %u\n", Printable(words[0]).c_str(), Printable(words[1]).c_str(), port);
        Flush();
    };
    const Cmn_BonjourError error =
        publisher.Register(words[0], port, Cmn_BonjourServicePublisher::kInterfaceIndexAny, tell);
    if (!error.IsOK()) tell(error);
    const bool isHopeless =
        !error.IsOK() && error.GetErrorCode() != NorvikLibInternal::kDNSServiceErr_ServiceNotRunning;
    if (isHopeless) return cFailure;

    // A program that was started without any input goes on until it is ended.
    const HANDLE input = ::GetStdHandle(STD_INPUT_HANDLE);
    const bool hasInput = input != nullptr && input != INVALID_HANDLE_VALUE;
    Cmn_Thread reader("Read input", eNormal, 0);
    if (hasInput && reader.Launch(&WaitForEndOfInput) != 0) return cFailure;
    while (!hasInput || !reader.WaitForEnd(0))
        manager.ProcessOneEvent(cStepMilliseconds);
    return cSuccess;
}

}  // namespace

extern const Verb cPublishVerb;
const Verb cPublishVerb{"publish",
                        "NAME TYPE PORT [key=value ...]",
                        "announces a service on the network until the input ends",
                        "TYPE is for example _desk._tcp. Ends at the end of the input, or by Ctrl+C.\n",
                        {{"--library", "DIR", "a folder in which to look for dnssd.dll, too"}},
                        &RunPublish};

}  // namespace NorvikTool
