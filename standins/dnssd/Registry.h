#pragma once

// What is registered, which operations run, and which results they get. Pure: results go out through a function.
//
//   Registry registry([&](uint64_t operation, std::string message) { sessions[operation]->Queue(message); }, "desk");
//   if (registry.Start(id, operation) == 0) registry.Begin(id);    // the answer goes out between the two
//
// Threads:   one
// Ownership: values; a registration belongs to its operation and is withdrawn with it
// Errors:    published error codes
// Units:     ports in host byte order; addresses as their 4 or 16 bytes; interface index 0 is any

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "standins/dnssd/Wire.h"

namespace DnsSdStandin {

using InterfaceList = std::vector<uint32_t>;

struct Instance {
    std::string name;
    std::string type;
    uint32_t interfaceIndex = 0;
    std::string host;
    uint16_t port = 0;
    std::string txt;
    // The operation that registered it; 0: a script did.
    uint64_t owner = 0;
    // Nobody answers for it any more, but it has not expired.
    bool isGhost = false;
};

struct Operation {
    Kind kind = kBrowse;
    uint32_t flags = 0;
    uint32_t interfaceIndex = 0;
    uint32_t protocol = 0;
    // Of a resolve. What a registration wants to announce is in `instance`.
    std::string name;
    std::string type;
    std::string domain;
    std::string host;
    Instance instance;
    // Of a query: what it asks for, and the data that it was told of, by interface.
    std::string fullName;
    uint16_t recordType = 0;
    std::map<uint32_t, std::string> told;
};

class Registry {
public:
    using Send = std::function<void(uint64_t operation, std::string message)>;

    Registry(Send send, const std::string& computerName);

    // ---- Clients ----
    // Judges a request. An accepted operation gets nothing until it begins.
    int32_t Start(uint64_t id, Operation operation);
    void Begin(uint64_t id);
    void End(uint64_t id);
    int32_t Update(uint64_t id, const std::string& txt);
    int32_t Reconfirm(uint32_t interfaceIndex, const std::string& fullName, uint16_t recordType);

    // ---- Scripts ----
    // A new instance, or other data of one that is there.
    void Put(const Instance& instance);
    // Those of the name and type, on one interface or on all. The number of them.
    int Remove(const std::string& name, const std::string& type, std::optional<uint32_t> interfaceIndex);
    int Change(const std::string& name, const std::string& type,
               const std::function<void(Instance&)>& change);
    // A browse result, whatever is registered.
    void Deliver(const Instance& instance, bool isAdd);
    void SetAddresses(const std::string& host, uint32_t interfaceIndex,
                      const std::vector<std::string>& addresses);
    // The interfaces on which things are that are on any interface.
    void SetInterfaces(const InterfaceList& interfaces);
    void FailNext(Kind kind, int count, int32_t error) { mFailures[kind] = {count, error}; }
    int ErrorToAll(Kind kind, int32_t error);
    // All that scripts have made.
    void Clear();

    std::string List() const;
    int Running(Kind kind) const;
    int Started(Kind kind) const;

private:
    // Type, name (both folded) and interface.
    using Key = std::tuple<std::string, std::string, uint32_t>;
    struct Failure {
        int count = 0;
        int32_t error = 0;
    };
    struct Host {
        std::string name;
        std::vector<std::string> addresses;
    };

    static Key KeyOf(const Instance& instance);
    int32_t Judge(Operation& operation) const;
    int32_t JudgeRegistration(Operation& operation) const;
    static int32_t JudgeQuery(Operation& operation);
    int32_t InjectedFailure(Kind kind);
    InterfaceList SeenOn(uint32_t recordInterface, uint32_t asked) const;
    static bool IsVisible(const Instance& instance) { return instance.port != 0 || instance.owner == 0; }
    bool IsTaken(const Instance& instance) const;
    void BeginRegistration(uint64_t id, Operation& operation);
    void Erase(std::map<Key, Instance>::iterator position);
    void Announce(const Instance& instance, bool isAdd);
    void AnnounceTo(uint64_t id, const Operation& browse, const Instance& instance, bool isAdd);
    void AnswerResolves(const Instance& instance);
    void AnswerQuery(uint64_t id, Operation& query, const Instance& instance, bool isThere);
    void Resolve(uint64_t id, const Operation& resolve, const Instance& instance);
    void AnswerAddress(uint64_t id, const Operation& query, uint32_t interfaceIndex, const Host& host,
                       const std::string& address, bool isAdd);

    const Send mSend;
    const std::string mComputerName;
    std::map<Key, Instance> mInstances;
    // By folded name and interface.
    std::map<std::pair<std::string, uint32_t>, Host> mHosts;
    std::map<uint64_t, Operation> mOperations;
    std::map<Kind, Failure> mFailures;
    std::map<Kind, int> mStarted;
    InterfaceList mInterfaces = {1};
};

}  // namespace DnsSdStandin
