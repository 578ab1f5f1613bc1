#include "JRCmn/Internal/Cmn_FrameName.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_FaultGuard.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "JRCmn/Internal/Cmn_SymbolCalls.h"

#if defined(__GNUG__)
#include <cxxabi.h>
#endif

using namespace NorvikLibInternal;

namespace {

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

// A handle of our own, so that the program may use the symbol library for itself. Not the initialiser of a
// static: one that a fault has left would count as running for ever.
HANDLE SymbolSession() {
    static HANDLE session = nullptr;
    static bool wasTried = false;
    if (wasTried) return session;
    wasTried = true;
    HANDLE process = nullptr;
    const HANDLE self = ::GetCurrentProcess();
    const SymbolCalls& calls = GetSymbolCalls();
    if (!calls.initialize || !calls.setOptions || !calls.loadModule || !calls.symbolAt) return nullptr;
    if (!::DuplicateHandle(self, self, self, &process, 0, FALSE, DUPLICATE_SAME_ACCESS)) return nullptr;
    // Only the program's folder is searched: no symbol server may be asked in the middle of a failure.
    char folder[MAX_PATH] = "";
    ::GetModuleFileNameA(nullptr, folder, MAX_PATH - 1);
    if (char* const slash = std::strrchr(folder, '\\')) *slash = 0;
    calls.setOptions(SYMOPT_DEFERRED_LOADS | SYMOPT_LOAD_LINES | SYMOPT_UNDNAME |
                     SYMOPT_FAIL_CRITICAL_ERRORS | SYMOPT_NO_PROMPTS);
    if (calls.initialize(process, folder, FALSE)) {
        session = process;
    } else {
        ::CloseHandle(process);  // by hand: a fault in between would skip a destructor
    }
    return session;
}

// What the symbol library reads is whatever the modules' files hold, and on some it faults. Its data are in
// an unknown state after that, so it is not called again: frames go without names, the program goes on.
bool gHasFaulted = false;  // read and set by the holder of the library
std::atomic<unsigned long> gUntoldFault{0};

bool CallSymbolLibrary(void (*function)(void*), void* argument) {
    if (gHasFaulted) return false;
    unsigned long code = 0;
    if (CallGuarded(function, argument, &code)) return true;
    gHasFaulted = true;
    gUntoldFault = code;
    return false;
}

void UnloadSymbols(void* module) {
    const SymbolCalls& calls = GetSymbolCalls();
    if (calls.unloadModule) calls.unloadModule(SymbolSession(), static_cast<Module*>(module)->base);
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
    if (module->hasSymbols) CallSymbolLibrary(&UnloadSymbols, module);
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

struct SymbolQuery {
    Module* module;
    uint64_t address;
    union {
        char space[sizeof(SYMBOL_INFO) + 512];  // the name goes on behind the structure
        SYMBOL_INFO symbol;
    };
    DWORD64 offset;
    char source[sizeof FrameName::source];
    unsigned line;
};

// Runs under the guard, so nothing in it waits for a destructor. The path is the library's memory: copied here.
void ReadSymbols(void* argument) {
    SymbolQuery& query = *static_cast<SymbolQuery*>(argument);
    Module& module = *query.module;
    const SymbolCalls& calls = GetSymbolCalls();
    const HANDLE session = SymbolSession();
    if (!session) return;
    if (!module.hasSymbols) {
        calls.loadModule(session, nullptr, module.path, nullptr, module.base, module.size, nullptr, 0);
        module.hasSymbols = true;
    }
    query.symbol.SizeOfStruct = sizeof query.symbol;
    query.symbol.MaxNameLen = sizeof query.space - sizeof query.symbol;
    if (!calls.symbolAt(session, query.address, &query.offset, &query.symbol)) {
        query.symbol.Name[0] = 0;
        return;
    }
    IMAGEHLP_LINE64 line = {};
    line.SizeOfStruct = sizeof line;
    DWORD lineOffset = 0;
    if (calls.lineAt && calls.lineAt(session, query.address, &lineOffset, &line)) {
        CopySourcePath(query.source, line.FileName);
        query.line = line.LineNumber;
    }
}

void AddSymbols(FrameName& name, Module& module, uint64_t address) {
    SymbolQuery query = {};
    query.module = &module;
    query.address = address;
    if (!CallSymbolLibrary(&ReadSymbols, &query) || !query.symbol.Name[0]) return;
    CopyFunctionName(name.function, query.symbol.Name);
    if (query.line) {
        Copy(name.source, query.source);
        name.line = query.line;
        return;
    }
    // Without a line the name may be that of the nearest exported function: how far away it is tells.
    const size_t length = std::strlen(name.function);
    _snprintf(name.function + length, sizeof name.function - 1 - length, "+0x%I64x", query.offset);
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

SymbolCalls& GetSymbolCalls() {
    static DynamicFunction<decltype(SymbolCalls::initialize)> initialize("dbghelp.dll", "SymInitialize");
    static DynamicFunction<decltype(SymbolCalls::setOptions)> setOptions("dbghelp.dll", "SymSetOptions");
    static DynamicFunction<decltype(SymbolCalls::loadModule)> loadModule("dbghelp.dll", "SymLoadModuleEx");
    static DynamicFunction<decltype(SymbolCalls::unloadModule)> unload("dbghelp.dll", "SymUnloadModule64");
    static DynamicFunction<decltype(SymbolCalls::symbolAt)> symbolAt("dbghelp.dll", "SymFromAddr");
    static DynamicFunction<decltype(SymbolCalls::lineAt)> lineAt("dbghelp.dll", "SymGetLineFromAddr64");
    static SymbolCalls calls = {initialize.Get(), setOptions.Get(), loadModule.Get(),
                                unload.Get(),     symbolAt.Get(),   lineAt.Get()};
    return calls;
}

FrameName NameFrame(uint64_t address, bool symbols) {
    FrameName name;
    name.offset = name.linkAddress = address;
    // Loads the symbol library, with the loader's lock, under which another thread may be waiting for ours.
    if (symbols) GetSymbolCalls();
    {
        const DebugHelpLocker locker;
        if (Module* const module = ModuleAt(address)) {
            Copy(name.module, module->path[0] ? module->Name() : "?");
            name.offset = address - module->base;
            name.linkAddress = module->linkBase + name.offset;
            if (symbols && !locker.IsNested()) AddSymbols(name, *module, address);
        }
    }
    // A trace takes locks of its own, so the library is given back first.
    if (gUntoldFault) {
        if (const unsigned long code = gUntoldFault.exchange(0))
            Cmn_Trace("The symbol library has crashed (0x%08lX): stacks go without names from now on.\n",
                      code);
    }
    return name;
}

}  // namespace NorvikLibInternal
