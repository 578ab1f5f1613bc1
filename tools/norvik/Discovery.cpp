#include "tools/norvik/Discovery.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include "JRCmn/Cmn_BonjourLocator.h"
#include "JRCmn/Cmn_FolderFinder.h"
#include "JRCmn/Internal/Cmn_DnsSd.h"
#include "tools/norvik/OtherProcess.h"

namespace NorvikTool {
namespace {

void PrintState(const std::string& state) {
    static std::string before;
    if (state == before) return;
    before = state;
    Print("Service discovery: " + state + "\n");
    Flush();
}

}  // namespace

bool FindLibrary(const Arguments& arguments) {
    if (arguments.Has("--library")) ::SetDllDirectoryA(arguments.Text("--library", "").c_str());
    if (Cmn_BonjourLocator::IsLibraryAvailable()) return true;
    PrintState("library missing (dnssd.dll)");
    return false;
}

bool IsStandinLibraryThere() {
    return Cmn_FolderFinder::IsModulePresent((Cmn_String(cStandinFolder) + "dnssd.dll").c_str());
}

void UseStandinLibrary() {
    ::SetDllDirectoryA((ProgramFolder() + cStandinFolder).c_str());
}

void PrintDaemonState(const Cmn_BonjourError& error) {
    if (error.IsOK()) {
        PrintState("running");
    } else if (error == NorvikLibInternal::kDNSServiceErr_ServiceNotRunning) {
        PrintState("daemon not running");
    } else {
        Print(std::string("Error: ") + error.ToString().c_str() + "\n");
        Flush();
    }
}

std::string Printable(const TxtRecord& record) {
    std::string text;
    for (const auto& [key, value] : record) {
        if (!text.empty()) text += ' ';
        text += Printable(key).append("=").append(Printable(value));
    }
    return text;
}

}  // namespace NorvikTool
