#include "standins/dnssd/Registry.h"

#include <utility>

#include "JRCmn/Internal/Cmn_DnsSd.h"
#include "standins/dnssd/Names.h"

namespace DnsSdStandin {

using namespace NorvikLibInternal;

namespace {

constexpr uint32_t kHostTtl = 120;
constexpr char kLoopback4[] = {127, 0, 0, 1};
constexpr char kLoopback6[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};

std::string TypeResult(const std::string& type) {
    return type + ".";
}

std::string BrowseResult(uint32_t flags, uint32_t interfaceIndex, const Instance& instance) {
    Writer message(kBrowseResult);
    message.U32(flags).U32(interfaceIndex).U32(0).Text(instance.name);
    return message.Text(TypeResult(instance.type)).Text(kLocalDomain).Take();
}

std::string RegisterResult(uint32_t flags, int32_t error, const Instance& instance) {
    Writer message(kRegisterResult);
    message.U32(flags).U32(static_cast<uint32_t>(error)).Text(instance.name);
    return message.Text(TypeResult(instance.type)).Text(kLocalDomain).Take();
}

// A result of the kind that holds the error only.
std::string ErrorResult(Kind kind, int32_t error) {
    const auto code = static_cast<uint32_t>(error);
    switch (kind) {
        case kBrowse:
            return Writer(kBrowseResult).U32(0).U32(0).U32(code).Text("").Text("").Text("").Take();
        case kResolve:
            return Writer(kResolveResult).U32(0).U32(0).U32(code).Text("").Text("").U16(0).Text("").Take();
        case kAddress:
            return Writer(kAddressResult).U32(0).U32(0).U32(code).Text("").Text("").U32(0).Take();
        case kQuery:
            return Writer(kQueryResult).U32(0).U32(0).U32(code).Text("").U16(0).Text("").U32(0).Take();
        default:
            return Writer(kRegisterResult).U32(0).U32(code).Text("").Text("").Text("").Take();
    }
}

// No TXT record is announced as one empty string, because a TXT record is never without any.
std::string TxtOrEmpty(const std::string& txt) {
    return txt.empty() ? std::string(1, '\0') : txt;
}

std::string SrvData(const Instance& instance) {
    std::string data(4, '\0');
    data += static_cast<char>(instance.port >> 8);
    data += static_cast<char>(instance.port & 0xFF);
    for (std::string_view rest = instance.host; !rest.empty();) {
        const std::string label = TakeLabel(rest).value_or("");
        data += static_cast<char>(label.size()) + label;
    }
    return data + '\0';
}

bool Contains(const InterfaceList& list, uint32_t interfaceIndex) {
    return std::find(list.begin(), list.end(), interfaceIndex) != list.end();
}

}  // namespace

Registry::Registry(Send send, const std::string& computerName)
    : mSend(std::move(send)), mComputerName(CutToLabel(computerName)) {
    SetAddresses(mComputerName + "." + kLocalDomain, 0,
                 {std::string(kLoopback4, sizeof kLoopback4), std::string(kLoopback6, sizeof kLoopback6)});
}

Registry::Key Registry::KeyOf(const Instance& instance) {
    return {Folded(instance.type), Folded(instance.name), instance.interfaceIndex};
}

int32_t Registry::Start(uint64_t id, Operation operation) {
    ++mStarted[operation.kind];
    if (const int32_t error = InjectedFailure(operation.kind)) return error;
    if (const int32_t error = Judge(operation)) return error;
    mOperations[id] = std::move(operation);
    return kDNSServiceErr_NoError;
}

int32_t Registry::InjectedFailure(Kind kind) {
    Failure& failure = mFailures[kind];
    if (failure.count == 0) return kDNSServiceErr_NoError;
    --failure.count;
    return failure.error;
}

int32_t Registry::Judge(Operation& operation) const {
    if (operation.flags & kDNSServiceFlagsShareConnection) return kDNSServiceErr_Unsupported;
    if (operation.kind == kQuery) return JudgeQuery(operation);
    if (operation.kind == kAddress) {
        constexpr uint32_t kBoth = kDNSServiceProtocol_IPv4 | kDNSServiceProtocol_IPv6;
        if (operation.host.empty() || (operation.protocol & ~kBoth) != 0) return kDNSServiceErr_BadParam;
        operation.host = HostName(operation.host);
        return kDNSServiceErr_NoError;
    }
    // A type may have subtypes behind a comma.
    if (operation.type.find(',') != std::string::npos) return kDNSServiceErr_Unsupported;
    const std::optional<std::string> type = ServiceType(operation.type);
    if (!type) return kDNSServiceErr_BadParam;
    operation.type = *type;
    if (!IsLocalDomain(operation.domain)) return kDNSServiceErr_Unsupported;
    if (operation.kind == kRegister) return JudgeRegistration(operation);
    const bool isName = !operation.name.empty() && operation.name.size() <= kMaxLabel;
    return operation.kind == kResolve && !isName ? kDNSServiceErr_BadParam : kDNSServiceErr_NoError;
}

int32_t Registry::JudgeQuery(Operation& operation) {
    if (operation.recordType != kDNSServiceType_SRV && operation.recordType != kDNSServiceType_TXT)
        return kDNSServiceErr_Unsupported;
    std::string_view rest = operation.fullName;
    const std::optional<std::string> name = TakeLabel(rest);
    const std::optional<std::string> program = TakeLabel(rest);
    const std::optional<std::string> protocol = TakeLabel(rest);
    if (!name || !program || !protocol || protocol->empty()) return kDNSServiceErr_BadParam;
    operation.name = *name;
    operation.type = *program + "." + *protocol;
    return kDNSServiceErr_NoError;
}

int32_t Registry::JudgeRegistration(Operation& operation) const {
    Instance& instance = operation.instance;
    if (instance.name.size() > kMaxLabel && (operation.flags & kDNSServiceFlagsNoAutoRename))
        return kDNSServiceErr_BadParam;
    instance.name = CutToLabel(instance.name.empty() ? mComputerName : instance.name);
    instance.type = operation.type;
    instance.interfaceIndex = operation.interfaceIndex;
    instance.host = instance.host.empty() ? mComputerName + "." + kLocalDomain : HostName(instance.host);
    instance.txt = TxtOrEmpty(instance.txt);
    return IsTxtRecord(instance.txt) ? kDNSServiceErr_NoError : kDNSServiceErr_Invalid;
}

void Registry::Begin(uint64_t id) {
    Operation& operation = mOperations.at(id);
    if (operation.kind == kRegister) return BeginRegistration(id, operation);
    if (operation.kind == kAddress) {
        for (const auto& [key, host] : mHosts)
            for (const std::string& address : host.addresses)
                AnswerAddress(id, operation, key.second, host, address, true);
        return;
    }
    for (const auto& [key, instance] : mInstances) {
        if (operation.kind == kBrowse)
            AnnounceTo(id, operation, instance, true);
        else if (operation.kind == kResolve)
            Resolve(id, operation, instance);
        else
            AnswerQuery(id, operation, instance, true);
    }
}

void Registry::BeginRegistration(uint64_t id, Operation& operation) {
    Instance& instance = operation.instance;
    if (IsTaken(instance) && (operation.flags & kDNSServiceFlagsNoAutoRename)) {
        mSend(id, RegisterResult(0, kDNSServiceErr_NameConflict, instance));
        return;
    }
    while (IsTaken(instance))
        instance.name = NextName(instance.name);
    instance.owner = id;
    mSend(id, RegisterResult(kDNSServiceFlagsAdd, kDNSServiceErr_NoError, instance));
    Put(instance);
}

bool Registry::IsTaken(const Instance& instance) const {
    const auto [type, name, asked] = KeyOf(instance);
    for (auto i = mInstances.lower_bound({type, name, 0}); i != mInstances.end(); ++i) {
        const auto& [otherType, otherName, other] = i->first;
        if (otherType != type || otherName != name) return false;
        if (other == asked || other == 0 || asked == 0) return true;
    }
    return false;
}

void Registry::End(uint64_t id) {
    const auto ended = mOperations.extract(id);
    if (ended.empty() || ended.mapped().instance.owner != id) return;
    const auto position = mInstances.find(KeyOf(ended.mapped().instance));
    // A script may have removed it or put its own in its place.
    if (position != mInstances.end() && position->second.owner == id) Erase(position);
}

int32_t Registry::Update(uint64_t id, const std::string& txt) {
    if (const int32_t error = InjectedFailure(kUpdate)) return error;
    const auto operation = mOperations.find(id);
    // The connection of that registration has ended, perhaps together with an earlier daemon.
    if (operation == mOperations.end()) return kDNSServiceErr_ServiceNotRunning;
    const auto position = mInstances.find(KeyOf(operation->second.instance));
    if (position == mInstances.end() || position->second.owner != id) return kDNSServiceErr_BadReference;
    if (!IsTxtRecord(txt)) return kDNSServiceErr_Invalid;
    position->second.txt = txt;
    AnswerResolves(position->second);
    return kDNSServiceErr_NoError;
}

// Who asks is told nothing: what does not answer any more is withdrawn from all browses.
int32_t Registry::Reconfirm(uint32_t interfaceIndex, const std::string& fullName, uint16_t recordType) {
    if (const int32_t error = InjectedFailure(kReconfirm)) return error;
    if (recordType != kDNSServiceType_SRV && recordType != kDNSServiceType_TXT) return kDNSServiceErr_NoError;
    std::string_view rest = fullName;
    const std::optional<std::string> name = TakeLabel(rest);
    const std::optional<std::string> program = TakeLabel(rest);
    const std::optional<std::string> protocol = TakeLabel(rest);
    if (!name || !program || !protocol || protocol->empty()) return kDNSServiceErr_BadParam;
    const std::string type = Folded(*program + "." + *protocol);
    for (auto i = mInstances.begin(); i != mInstances.end();) {
        const auto& [itsType, itsName, itsInterface] = i->first;
        const bool isMeant = itsType == type && itsName == Folded(*name) &&
                             !SeenOn(itsInterface, interfaceIndex).empty() && i->second.isGhost;
        const auto position = i++;
        if (isMeant) Erase(position);
    }
    return kDNSServiceErr_NoError;
}

void Registry::Put(const Instance& instance) {
    const auto [position, isNew] = mInstances.try_emplace(KeyOf(instance), instance);
    if (isNew) {
        Announce(instance, true);
    } else {
        position->second = instance;
    }
    AnswerResolves(instance);
}

int Registry::Remove(const std::string& name, const std::string& type,
                     std::optional<uint32_t> interfaceIndex) {
    int count = 0;
    for (auto i = mInstances.begin(); i != mInstances.end();) {
        const auto& [itsType, itsName, itsInterface] = i->first;
        const bool isMeant = itsType == Folded(type) && itsName == Folded(name) &&
                             (!interfaceIndex || *interfaceIndex == itsInterface);
        const auto position = i++;
        if (!isMeant) continue;
        Erase(position);
        ++count;
    }
    return count;
}

int Registry::Change(const std::string& name, const std::string& type,
                     const std::function<void(Instance&)>& change) {
    int count = 0;
    for (auto& [key, instance] : mInstances) {
        if (std::get<0>(key) != Folded(type) || std::get<1>(key) != Folded(name)) continue;
        change(instance);
        AnswerResolves(instance);
        ++count;
    }
    return count;
}

void Registry::Deliver(const Instance& instance, bool isAdd) {
    Announce(instance, isAdd);
}

void Registry::Erase(std::map<Key, Instance>::iterator position) {
    const auto erased = mInstances.extract(position);
    Announce(erased.mapped(), false);
    for (auto& [id, operation] : mOperations)
        if (operation.kind == kQuery) AnswerQuery(id, operation, erased.mapped(), false);
}

void Registry::Announce(const Instance& instance, bool isAdd) {
    for (const auto& [id, operation] : mOperations)
        if (operation.kind == kBrowse) AnnounceTo(id, operation, instance, isAdd);
}

void Registry::AnnounceTo(uint64_t id, const Operation& browse, const Instance& instance, bool isAdd) {
    if (!IsVisible(instance) || Folded(browse.type) != Folded(instance.type)) return;
    for (const uint32_t seen : SeenOn(instance.interfaceIndex, browse.interfaceIndex))
        mSend(id, BrowseResult(isAdd ? kDNSServiceFlagsAdd : 0, seen, instance));
}

void Registry::AnswerResolves(const Instance& instance) {
    for (auto& [id, operation] : mOperations) {
        if (operation.kind == kResolve) Resolve(id, operation, instance);
        if (operation.kind == kQuery) AnswerQuery(id, operation, instance, true);
    }
}

// The new data come before the word that the old ones are gone.
void Registry::AnswerQuery(uint64_t id, Operation& query, const Instance& instance, bool isThere) {
    if (!IsVisible(instance) || Folded(query.type) != Folded(instance.type)) return;
    if (Folded(query.name) != Folded(instance.name)) return;
    const std::string data =
        query.recordType == kDNSServiceType_SRV ? SrvData(instance) : TxtOrEmpty(instance.txt);
    for (const uint32_t seen : SeenOn(instance.interfaceIndex, query.interfaceIndex)) {
        const auto send = [&](uint32_t flags, const std::string& each) {
            Writer message(kQueryResult);
            message.U32(flags).U32(seen).U32(0).Text(query.fullName).U16(query.recordType);
            mSend(id, message.Text(each).U32(flags != 0 ? kHostTtl : 0).Take());
        };
        const std::string old = std::exchange(query.told[seen], isThere ? data : "");
        if (isThere && old != data) send(kDNSServiceFlagsAdd, data);
        if (!old.empty() && (!isThere || old != data)) send(0, old);
    }
}

void Registry::Resolve(uint64_t id, const Operation& resolve, const Instance& instance) {
    if (!IsVisible(instance) || Folded(resolve.type) != Folded(instance.type)) return;
    if (Folded(resolve.name) != Folded(instance.name)) return;
    const std::string fullName = EscapedLabel(instance.name) + "." + TypeResult(instance.type) + kLocalDomain;
    for (const uint32_t seen : SeenOn(instance.interfaceIndex, resolve.interfaceIndex)) {
        Writer message(kResolveResult);
        message.U32(0).U32(seen).U32(0).Text(fullName).Text(instance.host).U16(instance.port);
        mSend(id, message.Text(TxtOrEmpty(instance.txt)).Take());
    }
}

// On which interfaces somebody who asks on one of them (or on any) sees a record.
InterfaceList Registry::SeenOn(uint32_t recordInterface, uint32_t asked) const {
    if (recordInterface == kDNSServiceInterfaceIndexAny)
        return asked == kDNSServiceInterfaceIndexAny ? mInterfaces : InterfaceList{asked};
    if (asked == kDNSServiceInterfaceIndexAny || asked == recordInterface) return {recordInterface};
    return {};
}

void Registry::AnswerAddress(uint64_t id, const Operation& query, uint32_t interfaceIndex, const Host& host,
                             const std::string& address, bool isAdd) {
    const uint32_t protocol =
        address.size() == sizeof kLoopback4 ? kDNSServiceProtocol_IPv4 : kDNSServiceProtocol_IPv6;
    if (Folded(query.host) != Folded(host.name)) return;
    if (query.protocol != 0 && (query.protocol & protocol) == 0) return;
    for (const uint32_t seen : SeenOn(interfaceIndex, query.interfaceIndex)) {
        Writer message(kAddressResult);
        message.U32(isAdd ? kDNSServiceFlagsAdd : 0).U32(seen).U32(0).Text(host.name).Text(address);
        mSend(id, message.U32(isAdd ? kHostTtl : 0).Take());
    }
}

void Registry::SetAddresses(const std::string& host, uint32_t interfaceIndex,
                            const std::vector<std::string>& addresses) {
    Host& entry = mHosts[{Folded(HostName(host)), interfaceIndex}];
    const std::vector<std::string> old = std::exchange(entry.addresses, addresses);
    entry.name = HostName(host);
    const auto answer = [&](const std::vector<std::string>& list, const std::vector<std::string>& other,
                            bool isAdd) {
        for (const std::string& address : list) {
            if (std::find(other.begin(), other.end(), address) != other.end()) continue;
            for (const auto& [id, operation] : mOperations)
                if (operation.kind == kAddress)
                    AnswerAddress(id, operation, interfaceIndex, entry, address, isAdd);
        }
    };
    answer(old, addresses, false);
    answer(addresses, old, true);
}

void Registry::SetInterfaces(const InterfaceList& interfaces) {
    const InterfaceList old = mInterfaces;
    const auto announce = [this](const InterfaceList& list, const InterfaceList& other, bool isAdd) {
        mInterfaces.clear();
        for (const uint32_t each : list)
            if (!Contains(other, each)) mInterfaces.push_back(each);
        // Only who asks on any interface sees a difference.
        for (const auto& [key, instance] : mInstances) {
            for (const auto& [id, operation] : mOperations) {
                if (instance.interfaceIndex != 0 || operation.interfaceIndex != 0) continue;
                if (operation.kind == kBrowse) AnnounceTo(id, operation, instance, isAdd);
                if (operation.kind == kResolve && isAdd) Resolve(id, operation, instance);
            }
        }
        for (const auto& [key, host] : mHosts)
            for (const auto& [id, operation] : mOperations)
                for (const std::string& address : host.addresses)
                    if (key.second == 0 && operation.interfaceIndex == 0 && operation.kind == kAddress)
                        AnswerAddress(id, operation, 0, host, address, isAdd);
    };
    announce(old, interfaces, false);
    announce(interfaces, old, true);
    mInterfaces = interfaces;
}

int Registry::ErrorToAll(Kind kind, int32_t error) {
    int count = 0;
    for (const auto& [id, operation] : mOperations) {
        if (operation.kind != kind) continue;
        mSend(id, ErrorResult(kind, error));
        ++count;
    }
    return count;
}

void Registry::Clear() {
    for (auto i = mInstances.begin(); i != mInstances.end();) {
        const auto position = i++;
        if (position->second.owner == 0) Erase(position);
    }
    const std::string local = Folded(mComputerName + "." + kLocalDomain);
    for (auto& [key, host] : mHosts)
        if (key.first != local) SetAddresses(host.name, key.second, {});
    mFailures.clear();
}

std::string Registry::List() const {
    std::string text;
    for (const auto& [key, instance] : mInstances) {
        const char* const from = instance.owner != 0 ? "client" : instance.isGhost ? "ghost" : "script";
        text += EscapedLabel(instance.name) + " " + instance.type + " ";
        text += std::to_string(instance.interfaceIndex) + " " + instance.host + " ";
        text += std::to_string(instance.port) + " " + ToHex(instance.txt) + " " + from + "\n";
    }
    return text;
}

int Registry::Running(Kind kind) const {
    int count = 0;
    for (const auto& [id, operation] : mOperations)
        count += operation.kind == kind ? 1 : 0;
    return count;
}

int Registry::Started(Kind kind) const {
    const auto found = mStarted.find(kind);
    return found == mStarted.end() ? 0 : found->second;
}

}  // namespace DnsSdStandin
