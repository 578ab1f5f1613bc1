// The text class against std::string, the bare run-time and hand-written code.

#include <emmintrin.h>

#include <atomic>
#include <bit>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "JRCmn/Cmn_String.h"
#include "bench/Bench.h"

namespace {

const std::string kText200(200, 'x');

void CopyOurs(benchmark::State& state) {
    const Cmn_String text(kText200.c_str());
    for (auto _ : state) {
        Cmn_String copy(text);
        benchmark::DoNotOptimize(copy);
    }
}

const Subject kCopyFloor("text: copy+destroy, 200 characters", Run::kFree, "one lock inc and dec", 2.0,
                         CopyOurs, [](benchmark::State& state) {
                             std::atomic<int> count{1};
                             for (auto _ : state) {
                                 count.fetch_add(1);
                                 count.fetch_sub(1);
                             }
                         });

// Less than the floor above is not to be had, and that alone is 0.07 to 0.2 of it, as locked counting takes 2 or 5 ns.
const Subject kCopy("text: copy+destroy, 200 characters, std", Run::kFree, "std::string", 0.25, CopyOurs,
                    [](benchmark::State& state) {
                        for (auto _ : state) {
                            std::string copy(kText200);
                            benchmark::DoNotOptimize(copy);
                        }
                    });

const Subject kShort(
    "text: make+destroy, 12 characters", Run::kFree, "malloc and free", 0,
    [](benchmark::State& state) {
        for (auto _ : state) {
            Cmn_String text("Channel name");
            benchmark::DoNotOptimize(text);
        }
    },
    [](benchmark::State& state) {
        for (auto _ : state) {
            void* block = std::malloc(32);
            benchmark::DoNotOptimize(block);
            std::free(block);
        }
    });

constexpr char kFormat[] = "Channel %-16s level %8.2f dB, sequence number %010d sent";

const Subject kPrintf(
    "text: Printf, 60 characters, 3 arguments", Run::kFree, "_vsnprintf on the stack", 1.15,
    [](benchmark::State& state) {
        Cmn_String text("", 100);
        for (auto _ : state) {
            text.Printf(kFormat, "Lead vocals", -12.25, 4711);
            benchmark::DoNotOptimize(text);
        }
    },
    [](benchmark::State& state) {
        const auto format = [](char* buffer, size_t size, const char* text, ...) NORVIK_PRINTF(4, 5) {
            va_list arguments;
            va_start(arguments, text);
            const int count = _vsnprintf(buffer, size, text, arguments);
            va_end(arguments);
            return count;
        };
        for (auto _ : state) {
            char buffer[100];
            benchmark::DoNotOptimize(format(buffer, sizeof buffer, kFormat, "Lead vocals", -12.25, 4711));
            benchmark::ClobberMemory();
        }
    });

// Letters as in prose, and the pattern at the very end.
std::string Haystack(size_t size) {
    std::string text(size, ' ');
    unsigned random = 1;
    for (char& c : text) {
        random = random * 1103515245 + 12345;
        c = "etaoinshrdlu cmfwypvbgk"[random >> 16 & 15];
    }
    return text.replace(size - 8, 8, "Overload");
}

// What one writes by hand: candidates by the first and last byte, 16 at a time.
size_t HandWritten(const std::string& text, const std::string& pattern) {
    const __m128i first = _mm_set1_epi8(pattern.front());
    const __m128i last = _mm_set1_epi8(pattern.back());
    const size_t end = text.size() - pattern.size() + 1;
    size_t i = 0;
    for (; i + 16 <= end; i += 16) {
        const auto* const at = reinterpret_cast<const __m128i*>(text.data() + i);
        const auto* const behind = reinterpret_cast<const __m128i*>(text.data() + i + pattern.size() - 1);
        const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(_mm_loadu_si128(at), first),
                                           _mm_cmpeq_epi8(_mm_loadu_si128(behind), last));
        for (auto hits = static_cast<unsigned>(_mm_movemask_epi8(both)); hits != 0; hits &= hits - 1) {
            const size_t hit = i + static_cast<size_t>(std::countr_zero(hits));
            if (std::memcmp(text.data() + hit, pattern.data(), pattern.size()) == 0) return hit;
        }
    }
    return text.find(pattern, i);
}

void FindSubjects(size_t size, const char* name) {
    const auto ours = [size](benchmark::State& state) {
        const Cmn_String text(Haystack(size).c_str());
        const Cmn_String pattern("Overload");
        for (auto _ : state)
            benchmark::DoNotOptimize(text.Find(pattern));
    };
    Subject(std::string("text: Find 8 bytes in ") + name, Run::kFree, "std::string::find", 1.0, ours,
            [size](benchmark::State& state) {
                const std::string text = Haystack(size), pattern = "Overload";
                for (auto _ : state)
                    benchmark::DoNotOptimize(text.find(pattern));
            });
    Subject(std::string("text: Find 8 bytes in ") + name + ", SSE2", Run::kFree, "SSE2 by hand", 2.0, ours,
            [size](benchmark::State& state) {
                const std::string text = Haystack(size), pattern = "Overload";
                for (auto _ : state)
                    benchmark::DoNotOptimize(HandWritten(text, pattern));
            });
}

// 64 KB with the field repeated 1,000 times.
std::string Record() {
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += "level=" + std::string(56, static_cast<char>('a' + i % 26)) + ";;";
    return text;
}

const Subject kReplaced(
    "text: Replaced, 1,000 in 64 KB", Run::kFree, "std::string rebuilt", 1.0,
    [](benchmark::State& state) {
        const Cmn_String text(Record().c_str());
        for (auto _ : state)
            benchmark::DoNotOptimize(text.Replaced("level=", "gain (dB)="));
    },
    [](benchmark::State& state) {
        const std::string text = Record(), search = "level=", replacement = "gain (dB)=";
        for (auto _ : state) {
            std::string result;
            size_t start = 0;
            for (size_t at; (at = text.find(search, start)) != text.npos; start = at + search.size()) {
                result.append(text, start, at - start).append(replacement);
            }
            result.append(text, start, text.npos);
            benchmark::DoNotOptimize(result);
        }
    });

// 64 KB of fields with 5 to 11 characters.
std::string Fields() {
    std::string text;
    for (size_t i = 0; text.size() < 65536; ++i)
        text += std::string(5 + i % 7, 'f') + ",";
    return text;
}

const Subject kSplit(
    "text: Split, 64 KB into short fields", Run::kFree, "std::string find and substr", 1.0,
    [](benchmark::State& state) {
        const Cmn_String text(Fields().c_str());
        for (auto _ : state)
            benchmark::DoNotOptimize(text.Split(',', false));
    },
    [](benchmark::State& state) {
        const std::string text = Fields();
        for (auto _ : state) {
            std::vector<std::string> pieces;
            size_t start = 0;
            for (size_t at; (at = text.find(',', start)) != text.npos; start = at + 1) {
                pieces.push_back(text.substr(start, at - start));
            }
            pieces.push_back(text.substr(start));
            benchmark::DoNotOptimize(pieces);
        }
    });

const bool kFindRegistered = [] {
    FindSubjects(1024, "1 KB");
    FindSubjects(65536, "64 KB");
    return true;
}();

}  // namespace
