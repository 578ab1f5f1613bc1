#pragma once

// What the endurance run does to its parts, at random times (docs/soak.md).
//
//   SoakKiller killer(seed, {&engine, &shell}, {&console, &engine}, smallDisk);
//   while (...) killer.Work(now, now < calmFrom);
//
// Threads:   one
// Ownership: points to the parts. The destructor ends what is under way and puts the adapter's setting back.
// Errors:    what the machine does not let it do is left out; the constructor throws when it may not write the setting
// Units:     milliseconds

#include <random>
#include <string>
#include <vector>

#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Internal/Cmn_Handle.h"
#include "tools/norvik/SoakProcess.h"

namespace NorvikTool {

class SoakKiller {
public:
    // The parts that it may kill (the first one first of all), those whose logs it may hold, and a folder on a disk that it may fill (or empty); one
    // of more than 64 MB it leaves alone.
    SoakKiller(uint64_t seed, const std::vector<SoakProcess*>& mortals,
               const std::vector<SoakProcess*>& logged, const std::string& disk, int64_t now);
    ~SoakKiller();
    SoakKiller(const SoakKiller&) = delete;
    SoakKiller& operator=(const SoakKiller&) = delete;

    // Ends what has lasted long enough, starts parts again, and, when it may, begins something new now and then.
    void Work(int64_t now, bool mayBegin);

    // Whether a connection to an engine may be cut because its address is away, or was a moment ago.
    bool IsAddressHindered(int64_t now) const { return mIsAway || now < mAddressGoodFrom; }
    bool FillsDisk() const { return !mFiller.empty(); }
    // How often it has done what.
    int AddressCuts() const { return mAddressCuts; }
    int DiskFills() const { return mDiskFills; }
    int LogHolds() const { return mLogHolds; }

private:
    int64_t Random(int64_t least, int64_t most);
    void Begin(int64_t now);
    void CutAddress(int64_t now);
    void GiveAddressBack(int64_t now);
    void FillDisk();
    void EmptyDisk();
    void HoldLogs(const SoakProcess& part);
    void SetAddress(const char* adapter);

    std::mt19937_64 mRandom;
    const std::vector<SoakProcess*> mMortals, mLogged;
    const std::string mFiller;
    Cmn_Registry mSettings;
    const char* const mSetting;
    Cmn_String mFormerAdapter;
    bool mHadAdapter = false;

    int64_t mNext = 0;
    int64_t mAddressBackAt = 0, mAddressGoodFrom = 0, mDiskEmptyAt = 0, mLogsFreeAt = 0;
    bool mIsFirst = true, mIsAway = false, mIsFull = false;
    std::vector<NorvikLibInternal::KernelHandle> mHeld;
    int mAddressCuts = 0, mDiskFills = 0, mLogHolds = 0;
};

}  // namespace NorvikTool
