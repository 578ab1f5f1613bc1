#include "JRCmn/Cmn_NetworkAdapterConfig.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <mutex>
#include <utility>
#include <vector>

#include "IPC/IPC_Event.h"
#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Registry.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_AdapterCalls.h"

using namespace NorvikLibInternal;

// What outlives the object until a call that is under way is over.
class Cmn_NetworkAdapterConfig::Observer : public std::enable_shared_from_this<Observer> {
public:
    Observer(boost::asio::io_service& service, ENetworkUser user, std::function<void()> onChanged)
        : mService(service), mUser(user), mOnChanged(std::move(onChanged)) {}

    AdapterChoice GetChoice() const {
        const uint64_t packed = mChoice;
        return {static_cast<uint32_t>(packed), static_cast<unsigned>(packed >> 32)};
    }

    // Whether it is a new one.
    bool Choose(const std::vector<Adapter>& adapters, const Cmn_Registry& settings) {
        Cmn_String setting;
        settings.Read(GetSettingName(mUser), setting);
        const AdapterChoice choice = ChooseAdapter(adapters, setting.c_str());
        if (choice == GetChoice()) return false;
        mChoice = uint64_t{choice.index} << 32 | choice.address;
        return true;
    }

    void Notify() {
        const AdapterChoice choice = GetChoice();
        Cmn_Trace("%s is now interface %u, address %s.\n", GetSettingName(mUser), choice.index,
                  choice.address != Cmn_IPv4Address().ToUInt32()
                      ? Cmn_IPv4Address(choice.address).ToString().c_str()
                      : "none");
        if (mIsPosted.exchange(true)) return;
        boost::asio::post(mService, [observer = weak_from_this()] {
            if (const auto self = observer.lock()) self->Call();
        });
    }

    // Waits for a call on another thread; none begins after this. The function goes with the object, or after its call.
    void Leave() {
        const std::lock_guard lock(mCallLock);
        mIsGone = true;
        if (!mIsCalling) mOnChanged = nullptr;
    }

private:
    void Call() {
        mIsPosted = false;  // what changes from here on is posted anew
        const std::lock_guard lock(mCallLock);
        if (mIsGone || !mOnChanged) return;
        mIsCalling = true;
        mOnChanged();
        mIsCalling = false;
        if (mIsGone) mOnChanged = nullptr;
    }

    boost::asio::io_service& mService;
    const ENetworkUser mUser;
    std::function<void()> mOnChanged;
    std::atomic<uint64_t> mChoice{AdapterChoice().address};  // the index in the high half
    std::atomic<bool> mIsPosted{false};
    std::recursive_mutex mCallLock;  // held during the call, inside which the object may go
    bool mIsGone = false, mIsCalling = false;
};

// The one thread that looks at the adapters while somebody wants to know.
class Cmn_NetworkAdapterConfig::Watch {
public:
    // Never destroyed: objects may be static, too.
    static Watch& Get() {
        static Watch& watch = *new Watch;
        return watch;
    }

    void Add(const std::shared_ptr<Observer>& observer) {
        const std::lock_guard owner(mOwnerLock);
        {
            // Listed under the lock, so that an older list never follows a newer one.
            const std::lock_guard lock(mLock);
            std::vector<Adapter> adapters;
            if (!GetAdapterCalls().list(adapters)) Cmn_Trace("The network adapters cannot be listed.\n");
            observer->Choose(adapters, OpenSettings());
            mObservers.push_back(observer);
        }
        if (!mThread.IsRunning()) CMN_VERIFY(mThread.Launch([this] { return Run(); }) == 0);
    }

    void Remove(const std::shared_ptr<Observer>& observer) {
        const std::lock_guard owner(mOwnerLock);
        {
            const std::lock_guard lock(mLock);
            std::erase(mObservers, observer);
            if (!mObservers.empty()) return;
        }
        mStop.Set();
        mThread.ThreadEnd();
        mStop.Reset();
    }

private:
    // A key that cannot be opened has no settings.
    class OpenSettings : public Cmn_Registry {
    public:
        OpenSettings() { Open(HKEY_LOCAL_MACHINE, kSettingsKey, eRegistryAccess_ReadOnly); }
    };

    // Armed before each look, so no change falls between.
    long Run() {
        const AdapterCalls& calls = GetAdapterCalls();
        for (;;) {
            const HANDLE handles[] = {mStop.GetHandle(), calls.arm()};
            Look();
            const DWORD count = handles[1] ? 2 : 1;
            const DWORD result = ::WaitForMultipleObjects(count, handles, FALSE, calls.lookEvery);
            if (result == WAIT_OBJECT_0 || (result == WAIT_FAILED && mStop.Wait(calls.lookEvery))) break;
        }
        calls.disarm();
        return 0;
    }

    void Look() {
        const std::lock_guard lock(mLock);
        std::vector<Adapter> adapters;
        if (!GetAdapterCalls().list(adapters)) return;
        const OpenSettings settings;
        for (const auto& observer : mObservers)
            if (observer->Choose(adapters, settings)) observer->Notify();
    }

    std::mutex
        mOwnerLock;    // of who comes and goes; the thread does not take it, so that it can be waited for
    std::mutex mLock;  // of the list
    std::vector<std::shared_ptr<Observer>> mObservers;
    IPC_Event mStop;
    Cmn_Thread mThread{"Network Adapters", eNormal, 0};
};

Cmn_NetworkAdapterConfig::Cmn_NetworkAdapterConfig(boost::asio::io_service& service, ENetworkUser user,
                                                   std::function<void()> onAdapterChanged)
    : mUser(user) {
    if (user == ENetworkUser::eAny || !CMN_VERIFY(GetSettingName(user))) return;
    mObserver = std::make_shared<Observer>(service, user, std::move(onAdapterChanged));
    Watch::Get().Add(mObserver);
}

Cmn_NetworkAdapterConfig::~Cmn_NetworkAdapterConfig() {
    if (!mObserver) return;
    Watch::Get().Remove(mObserver);
    mObserver->Leave();
}

Cmn_IPv4Address Cmn_NetworkAdapterConfig::GetIPv4Address() const {
    if (mUser == ENetworkUser::eAny) return Cmn_IPv4Address::GetAddrAny();
    return mObserver ? Cmn_IPv4Address(mObserver->GetChoice().address) : Cmn_IPv4Address();
}

unsigned int Cmn_NetworkAdapterConfig::GetInterfaceIndex() const {
    return mObserver ? mObserver->GetChoice().index : 0;
}

const char* Cmn_NetworkAdapterConfig::GetSettingName(ENetworkUser user) {
    switch (user) {
        case ENetworkUser::eAny:
            return nullptr;
        case ENetworkUser::eConsole:
            return "Network Adapter Console";
        case ENetworkUser::eEngine:
            return "Network Adapter Engine";
        case ENetworkUser::eRemoteControl:
            return "Network Adapter Remote Control";
        case ENetworkUser::eDiscovery:
            return "Network Adapter Discovery";
    }
    return nullptr;
}
