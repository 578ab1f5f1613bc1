// One stamped line to a rotating file, in the system's hands when the call returns.

#include <windows.h>

#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <string>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_LogFile.h"
#include "JRCmn/Cmn_Trace.h"
#include "bench/Bench.h"

namespace {

constexpr uint64_t kMaximum = 1 << 20;
const char kLine[] = "Engine 3 answers after 12 ms, level -23.5 dB, queue of 17 messages, all of them ok\n";
const char kReadyLine[] =
    "1763139631.123 Engine 3 answers after 12 ms, level -23.5 dB, queue of 17 messages, all of them ok\r\n";

std::string TempPath(const char* name) {
    char folder[MAX_PATH];
    return std::string(folder, ::GetTempPathA(sizeof folder, folder)) + name;
}

void OurFile(benchmark::State& state) {
    static Cmn_LogFile& file = *[] {
        auto* made = new Cmn_LogFile(TempPath("norvik_bench.log"), kMaximum, kMaximum / 2);
        made->EnableTimeStamps(true);
        return made;
    }();
    for (auto _ : state)
        file.Write(kLine);
}

void OurTrace(benchmark::State& state) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    int number = 0;
    for (auto _ : state) {
        Cmn_Trace("Engine %d answers after %d ms, level %s dB, queue of %d messages, all of them ok\n", 3,
                  ++number, "-23.5", 17);
    }
}

void Spdlog(benchmark::State& state) {
    static spdlog::logger& logger = *[] {
        auto sink =
            std::make_shared<spdlog::sinks::rotating_file_sink_mt>(TempPath("spdlog_bench.log"), kMaximum, 1);
        auto* made = new spdlog::logger("bench", sink);
        made->set_pattern("%E.%e %v");
        made->flush_on(spdlog::level::trace);
        return made;
    }();
    int number = 0;
    for (auto _ : state) {
        logger.info("Engine {} answers after {} ms, level {} dB, queue of {} messages, all of them ok", 3,
                    ++number, "-23.5", 17);
    }
}

// A file of the same size that is written over and over, as ours is.
void RawWriteFile(benchmark::State& state) {
    static const HANDLE file = ::CreateFileA(TempPath("raw_bench.log").c_str(), GENERIC_WRITE,
                                             FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
    uint64_t written = 0;
    for (auto _ : state) {
        DWORD size = 0;
        ::WriteFile(file, kReadyLine, sizeof kReadyLine - 1, &size, nullptr);
        written += size;
        if (written > kMaximum) {
            ::SetFilePointer(file, 0, nullptr, FILE_BEGIN);
            written = 0;
        }
    }
}

const Subject kFileRaw("stamped line to the rotating file", Run::kFree, "WriteFile of the ready line", 1.4,
                       &OurFile, &RawWriteFile);
const Subject kTraceSpdlog("traced line (formatted, stamped)", Run::kFree, "spdlog rotating sink, flushed",
                           0.5, &OurTrace, &Spdlog);
const Subject kTraceRaw("traced line (formatted, stamped), raw", Run::kFree, "WriteFile of the ready line", 0,
                        &OurTrace, &RawWriteFile);
const Subject kTraceSpdlogFour("traced line, 4 threads", Run::kFree, "spdlog rotating sink, flushed", 0.5,
                               &OurTrace, &Spdlog, 4);
const Subject kFileRawFour("stamped line to the rotating file, 4 threads", Run::kFree, "WriteFile, 4 threads",
                           1.4, &OurFile, &RawWriteFile, 4);

}  // namespace
