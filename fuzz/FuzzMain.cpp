// The fuzzer's entry. NORVIK_FUZZ_TARGET names the target; without it the names are listed.

#include <cstdio>
#include <cstdlib>

#include "fuzz/FuzzTarget.h"

namespace {
void (*gFeed)(FuzzInput&) = nullptr;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* const wanted = std::getenv("NORVIK_FUZZ_TARGET");
    for (const FuzzTarget& target : FuzzTarget::All()) {
        if (!wanted) std::puts(target.name);
        if (wanted && target.name == std::string_view(wanted)) gFeed = target.feed;
    }
    if (wanted && !gFeed) std::fprintf(stderr, "There is no fuzz target %s\n", wanted);
    if (!gFeed) std::exit(wanted ? 2 : 0);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* bytes, std::size_t size) {
    FuzzInput input({reinterpret_cast<const char*>(bytes), size});
    gFeed(input);
    return 0;
}
