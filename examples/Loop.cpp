// One loop, and what comes to it: a timer, a job from another thread, an event. All of it runs on the loop's thread, so the
// program needs no locks.
//
//   ExampleLoop   counts to three and ends

#include <cstdio>
#include <memory>

#include "IPC/IPC_Event.h"
#include "IPC/IPC_EventHandler.h"
#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Cmn_PeriodicTimer.h"
#include "JRCmn/Cmn_ScheduleLater.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/IF_EventManager.h"

class Desk {
public:
    // The disk is slow, so another thread reads it. What it has found is shown by the loop.
    void Start() {
        mReader.Launch([this] {
            const int channels = ReadChannels();
            mLater.ScheduleLater([this, channels] { Show(channels); }, "Show the channels");
            return 0L;
        });
    }
    bool IsDone() const { return mIsDone; }

private:
    static int ReadChannels() { return 48; }
    void Show(int channels) {
        std::printf("%d channels\n", channels);
        mTicks.Start(20);
    }
    void Tick() {
        std::printf("tick %d\n", ++mCount);
        if (mCount == 3) mEnough.Set();
    }
    void OnEnough() {
        mTicks.Stop();
        mEnough.Reset();
        mIsDone = true;
    }

    bool mIsDone = false;
    int mCount = 0;
    Cmn_ScheduleLater mLater;
    Cmn_PeriodicTimer mTicks{[this] { Tick(); }, "Tick"};
    IPC_Event mEnough{IPC_Event::eManualReset};
    IPC_EventHandler mOnEnough{mEnough.GetHandle(), "Enough", [this] { OnEnough(); }};
    Cmn_Thread mReader{"Reader", eNormal, 0};  // last: it ends before what it uses
};

int main() {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    IF_EventManager::CreateDefaultEventManager();
    const std::unique_ptr<IF_EventManager> manager(gIF_EventManager);
    Desk desk;
    desk.Start();
    while (!desk.IsDone())
        manager->ProcessPendingMessagesAndEvents(1'000);
    return 0;
}
