#include "JRCmn/Internal/Cmn_FrameName.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Handle.h"

// After the gate header, whose types it uses.
#include <dbghelp.h>

#if defined(__GNUG__)
#include <cxxabi.h>
#endif

using namespace NorvikLibInternal;

namespace {

DynamicFunction<decltype(&::SymInitialize)> gSymInitialize("dbghelp.dll", "SymInitialize");
DynamicFunction<decltype(&::SymSetOptions)> gSymSetOptions("dbghelp.dll", "SymSetOptions");
DynamicFunction<decltype(&::SymLoadModuleEx)> gSymLoadModuleEx("dbghelp.dll", "SymLoadModuleEx");
DynamicFunction<decltype(&::SymUnloadModule64)> gSymUnloadModule64("dbghelp.dll", "SymUnloadModule64");
DynamicFunction<decltype(&::SymFromAddr)> gSymFromAddr("dbghelp.dll", "SymFromAddr");
DynamicFunction<decltype(&::SymGetLineFromAddr64)> gSymGetLineFromAddr64("dbghelp.dll",
                                                                         "SymGetLineFromAddr64");

std::atomic<DWORD> gHolder{0};  // ID of the thread that holds the symbol library

// Never destroyed: threads that outlive the globals may still fail and print.
IPC_Benaphore& Lock() {
    static IPC_Benaphore& lock = *new IPC_Benaphore;
    return lock;
}

struct Module {
    uint64_t base = 0;
    DWORD timeStamp =
        0;  // of the linker; with the size it tells a module from an earlier one at the same place
    DWORD size = 0;
    uint64_t linkBase = 0;
    bool hasSymbols = false;
    char path[MAX_PATH] = "";

    const char* Name() const {
        const char* const slash = std::strrchr(path, '\\');
        return slash ? slash + 1 : path;
    }
};

// More than a program has modules of its own; the oldest gives way.
constexpr unsigned kModules = 48;
Module gModules[kModules];
unsigned gNextModule = 0;

template <typename Read>
bool ReadHeaders(Read read, IMAGE_NT_HEADERS64& headers) {
    IMAGE_DOS_HEADER dos;
    return read(0, &dos, sizeof dos) && dos.e_magic == IMAGE_DOS_SIGNATURE &&
           read(static_cast<DWORD>(dos.e_lfanew), &headers, sizeof headers) &&
           headers.Signature == IMAGE_NT_SIGNATURE;
}

// By way of the system, because the module may be unloaded meanwhile.
bool ReadHeadersInMemory(uint64_t base, IMAGE_NT_HEADERS64& headers) {
    return ReadHeaders(
        [base](DWORD offset, void* data, SIZE_T size) {
            return ::ReadProcessMemory(::GetCurrentProcess(), reinterpret_cast<void*>(base + offset), data,
                                       size, nullptr) != FALSE;
        },
        headers);
}

// The loader writes the address where it has put a module over the one it was linked for, so that is read
// from the file.
uint64_t ReadLinkBase(const Module& module, uint64_t otherwise) {
    const KernelHandle file(::CreateFileA(module.path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                          nullptr, OPEN_EXISTING, 0, nullptr));
    IMAGE_NT_HEADERS64 headers;
    const bool done =
        file && ReadHeaders(
                    [&file](DWORD offset, void* data, DWORD size) {
                        DWORD got = 0;
                        ::SetFilePointer(file.Get(), static_cast<LONG>(offset), nullptr, FILE_BEGIN);
                        return ::ReadFile(file.Get(), data, size, &got, nullptr) && got == size;
                    },
                    headers);
    return done ? headers.OptionalHeader.ImageBase : otherwise;
}

// A handle of our own, so that the program may use the symbol library for itself.
HANDLE SymbolSession() {
    static const HANDLE session = [] {
        HANDLE process = nullptr;
        const HANDLE self = ::GetCurrentProcess();
        if (!::DuplicateHandle(self, self, self, &process, 0, FALSE, DUPLICATE_SAME_ACCESS)) return HANDLE{};
        if (!gSymInitialize || !gSymSetOptions || !gSymLoadModuleEx || !gSymFromAddr) return HANDLE{};
        // Only the program's folder is searched: no symbol server may be asked in the middle of a failure.
        char folder[MAX_PATH] = "";
        ::GetModuleFileNameA(nullptr, folder, MAX_PATH - 1);
        if (char* const slash = std::strrchr(folder, '\\')) *slash = 0;
        gSymSetOptions(SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES | SYMOPT_UNDNAME |
                       SYMOPT_FAIL_CRITICAL_ERRORS | SYMOPT_NO_PROMPTS);
        return gSymInitialize(process, folder, FALSE) ? process : HANDLE{};
    }();
    return session;
}

Module* ModuleAt(uint64_t address) {
    MEMORY_BASIC_INFORMATION region;
    if (!::VirtualQuery(reinterpret_cast<void*>(address), &region, sizeof region)) return nullptr;
    const uint64_t base = reinterpret_cast<uint64_t>(region.AllocationBase);
    IMAGE_NT_HEADERS64 headers;
    if (region.Type != MEM_IMAGE || !ReadHeadersInMemory(base, headers)) return nullptr;

    Module* module = nullptr;
    for (Module& known : gModules) {
        if (known.base != base) continue;
        if (known.timeStamp == headers.FileHeader.TimeDateStamp &&
            known.size == headers.OptionalHeader.SizeOfImage) {
            return &known;
        }
        module = &known;
    }
    if (!module) module = &gModules[gNextModule++ % kModules];
    if (module->hasSymbols && gSymUnloadModule64) gSymUnloadModule64(SymbolSession(), module->base);
    *module = Module{base, headers.FileHeader.TimeDateStamp, headers.OptionalHeader.SizeOfImage};
    if (!::GetModuleFileNameA(reinterpret_cast<HMODULE>(base), module->path, MAX_PATH - 1))
        module->path[0] = 0;
    module->linkBase = ReadLinkBase(*module, headers.OptionalHeader.ImageBase);
    return module;
}

template <size_t size>
void Copy(char (&target)[size], const char* text) {
    _snprintf(target, size - 1, "%s", text);
    target[size - 1] = 0;
}

// The platform's library knows nothing of this compiler's names, and gives them as they are.
template <size_t size>
void CopyFunctionName(char (&target)[size], const char* name) {
#if defined(__GNUG__)
    if (name[0] == '_' && name[1] == 'Z') {
        if (char* const readable = abi::__cxa_demangle(name, nullptr, nullptr, nullptr)) {
            Copy(target, readable);
            std::free(readable);
            return;
        }
    }
#endif
    Copy(target, name);
}

// "JRCmn\Cmn_String.cpp" of a path on the machine that built it.
template <size_t size>
void CopySourcePath(char (&target)[size], const char* path) {
    const char* start = path;
    const char* next = path;
    for (const char* at = path; *at; ++at) {
        if (*at != '/' && *at != '\\') continue;
        start = next;
        next = at + 1;
    }
    Copy(target, start);
    for (char& c : target) {
        if (c == '/') c = '\\';
    }
}

void AddSymbols(FrameName& name, Module& module, uint64_t address) {
    const HANDLE session = SymbolSession();
    if (!session) return;
    if (!module.hasSymbols) {
        gSymLoadModuleEx(session, nullptr, module.path, nullptr, module.base, module.size, nullptr, 0);
        module.hasSymbols = true;
    }
    alignas(SYMBOL_INFO) char buffer[sizeof(SYMBOL_INFO) + 512] = {};
    SYMBOL_INFO& symbol = *reinterpret_cast<SYMBOL_INFO*>(buffer);
    symbol.SizeOfStruct = sizeof symbol;
    symbol.MaxNameLen = sizeof buffer - sizeof symbol;
    DWORD64 offset = 0;
    if (!gSymFromAddr(session, address, &offset, &symbol)) return;
    CopyFunctionName(name.function, symbol.Name);

    IMAGEHLP_LINE64 line = {};
    line.SizeOfStruct = sizeof line;
    DWORD lineOffset = 0;
    if (gSymGetLineFromAddr64 && gSymGetLineFromAddr64(session, address, &lineOffset, &line)) {
        CopySourcePath(name.source, line.FileName);
        name.line = line.LineNumber;
        return;
    }
    // Without a line the name may be that of the nearest exported function: how far away it is tells.
    const size_t length = std::strlen(name.function);
    _snprintf(name.function + length, sizeof name.function - 1 - length, "+0x%I64x", offset);
}

}  // namespace

namespace NorvikLibInternal {

DebugHelpLocker::DebugHelpLocker() : mNested(gHolder.load() == ::GetCurrentThreadId()) {
    if (mNested) return;
    Lock().Lock();
    gHolder = ::GetCurrentThreadId();
}

DebugHelpLocker::~DebugHelpLocker() {
    if (mNested) return;
    gHolder = 0;
    Lock().Unlock();
}

FrameName NameFrame(uint64_t address, bool symbols) {
    const DebugHelpLocker locker;
    FrameName name;
    name.offset = name.linkAddress = address;
    if (Module* const module = ModuleAt(address)) {
        Copy(name.module, module->path[0] ? module->Name() : "?");
        name.offset = address - module->base;
        name.linkAddress = module->linkBase + name.offset;
        if (symbols && !locker.IsNested()) AddSymbols(name, *module, address);
    }
    return name;
}

}  // namespace NorvikLibInternal
