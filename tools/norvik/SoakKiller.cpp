#include "tools/norvik/SoakKiller.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <stdexcept>
#include <utility>

#include "JRCmn/Cmn_FS.h"
#include "JRCmn/Cmn_NetworkAdapterConfig.h"

namespace NorvikTool {
namespace {

constexpr char cAddressThere[] = "loopback", cAddressAway[] = "an adapter that was pulled out";
// Longer than a change of the setting may stay unnoticed (5 s), so that each cut is one.
constexpr int64_t cShortestCut = 7'000, cLongestCut = 10'000, cNoticed = 6'000;

// Whoever names a folder of a large disk shall not lose what is free there.
constexpr ULONGLONG cLargestDisk = 67'108'864;

bool IsSmallDisk(const std::string& folder) {
    ULARGE_INTEGER available, total, free;
    return !folder.empty() && ::GetDiskFreeSpaceExA(folder.c_str(), &available, &total, &free) &&
           total.QuadPart <= cLargestDisk;
}

}  // namespace

SoakKiller::SoakKiller(uint64_t seed, const std::vector<SoakProcess*>& mortals,
                       const std::vector<SoakProcess*>& logged, const std::string& disk, int64_t now)
    : mRandom(seed),
      mMortals(mortals),
      mLogged(logged),
      mFiller(IsSmallDisk(disk) ? disk + "\\filler" : ""),
      mSetting(Cmn_NetworkAdapterConfig::GetSettingName(ENetworkUser::eEngine)),
      mNext(now) {
    if (!mSettings.Open(HKEY_LOCAL_MACHINE, Cmn_Registry::kSettingsKey, eRegistryAccess_Create))
        throw std::runtime_error("cannot write the console's settings in the registry");
    mHadAdapter = mSettings.Read(mSetting, mFormerAdapter);
    SetAddress(cAddressThere);
    EmptyDisk();
}

SoakKiller::~SoakKiller() {
    if (mHadAdapter) {
        mSettings.Write(mSetting, mFormerAdapter);
    } else {
        mSettings.Remove(mSetting);
    }
    EmptyDisk();
}

void SoakKiller::Work(int64_t now, bool mayBegin) {
    if (mIsAway && now >= mAddressBackAt) GiveAddressBack(now);
    if (mIsFull && now >= mDiskEmptyAt) EmptyDisk();
    if (now >= mLogsFreeAt) mHeld.clear();
    for (SoakProcess* const part : mMortals) {
        if (part->IsTimeToStart(now)) part->Start();
    }
    if (!mayBegin || now < mNext) return;
    mNext = now + Random(2'000, 4'000);
    Begin(now);
}

// The first thing is the death of the first part: all others report it, and have the memory then that the platform takes
// for the symbols of a first report (docs/soak.md). Later on each part has two shares, everything else one or two; what is
// under way already is not begun again.
void SoakKiller::Begin(int64_t now) {
    const auto mortals = static_cast<int64_t>(mMortals.size());
    const int64_t choice = std::exchange(mIsFirst, false) ? 0 : Random(0, 2 * mortals + 4);
    if (choice < 2 * mortals) {
        SoakProcess& part = *mMortals[static_cast<size_t>(choice / 2)];
        if (part.IsUp()) part.Kill(now + Random(500, 3'000));
    } else if (choice < 2 * mortals + 2) {
        if (!IsAddressHindered(now)) CutAddress(now);
    } else if (choice < 2 * mortals + 3) {
        if (mFiller.empty() || mIsFull) return;
        FillDisk();
        mDiskEmptyAt = now + Random(3'000, 6'000);
    } else if (mHeld.empty()) {
        HoldLogs(*mLogged[static_cast<size_t>(Random(0, static_cast<int64_t>(mLogged.size()) - 1))]);
        mLogsFreeAt = now + Random(3'000, 6'000);
    }
}

// Not a distribution of the standard library: those give other numbers elsewhere, and a seed shall stand for one run.
int64_t SoakKiller::Random(int64_t least, int64_t most) {
    return least + static_cast<int64_t>(mRandom() % static_cast<uint64_t>(most - least + 1));
}

void SoakKiller::CutAddress(int64_t now) {
    SetAddress(cAddressAway);
    mIsAway = true;
    mAddressBackAt = now + Random(cShortestCut, cLongestCut);
    ++mAddressCuts;
}

void SoakKiller::GiveAddressBack(int64_t now) {
    SetAddress(cAddressThere);
    mIsAway = false;
    mAddressGoodFrom = now + cNoticed;
}

void SoakKiller::SetAddress(const char* adapter) {
    mSettings.Write(mSetting, Cmn_String(adapter));
}

void SoakKiller::FillDisk() {
    const NorvikLibInternal::KernelHandle file(
        ::CreateFileA(mFiller.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
    if (!file) return;
    const std::string piece(512, 'x');
    DWORD written = 0;
    while (::WriteFile(file.Get(), piece.data(), static_cast<DWORD>(piece.size()), &written, nullptr) &&
           written == piece.size()) {
    }
    mIsFull = true;
    ++mDiskFills;
}

void SoakKiller::EmptyDisk() {
    mIsFull = false;
    if (!mFiller.empty()) ::DeleteFileA(mFiller.c_str());
}

// The logs of earlier lives for itself alone, which a next run may want to delete; the one that is being written for
// writing, too.
void SoakKiller::HoldLogs(const SoakProcess& part) {
    const std::string folder = part.Root() + "\\Logs\\";
    for (const Cmn_String& name : Cmn_FS::ListFiles(folder.c_str(), "*.log")) {
        const std::string file = folder + name.c_str();
        HANDLE held = INVALID_HANDLE_VALUE;
        for (const DWORD share : {0UL, static_cast<unsigned long>(FILE_SHARE_READ | FILE_SHARE_WRITE)}) {
            if (held == INVALID_HANDLE_VALUE)
                held = ::CreateFileA(file.c_str(), GENERIC_WRITE, share, nullptr, OPEN_EXISTING, 0, nullptr);
        }
        if (held != INVALID_HANDLE_VALUE) mHeld.emplace_back(held);
    }
    mLogHolds += !mHeld.empty();
}

}  // namespace NorvikTool
