#include "standins/dnssd/Script.h"

#include <boost/asio/ip/address.hpp>
#include <charconv>

#include "standins/dnssd/Names.h"

namespace DnsSdStandin {
namespace {

using WordList = std::vector<std::string>;

struct KindName {
    Kind kind;
    const char* name;
};
constexpr KindName kKinds[] = {{kBrowse, "browse"},      {kResolve, "resolve"}, {kAddress, "address"},
                               {kRegister, "register"},  {kQuery, "query"},     {kUpdate, "update"},
                               {kReconfirm, "reconfirm"}};

// What a command cannot do with its words; the answer is its usage then.
struct BadWord {};

template <typename Value>
Value Need(std::optional<Value> value) {
    if (!value) throw BadWord();
    return *std::move(value);
}

std::string Name(std::string_view word) {
    // A dot that separates labels has no place here, since an instance name is one label.
    std::string name = Need(TakeLabel(word));
    if (!word.empty()) throw BadWord();
    return name;
}

uint16_t Port(std::string_view word) {
    return static_cast<uint16_t>(Need(Number(word, 0, UINT16_MAX)));
}

std::string Bytes(std::string_view word) {
    std::string bytes = Need(FromHex(word));
    if (bytes.size() > UINT16_MAX) throw BadWord();
    return bytes;
}

WordList Parts(std::string_view word) {
    WordList parts;
    size_t start = 0;
    for (size_t comma = 0; comma != std::string_view::npos; start = comma + 1) {
        comma = word.find(',', start);
        parts.emplace_back(word.substr(start, comma == std::string_view::npos ? comma : comma - start));
    }
    return parts;
}

std::string AddressBytes(const std::string& text) {
    boost::system::error_code error;
    const boost::asio::ip::address address = boost::asio::ip::make_address(text, error);
    if (error) throw BadWord();
    const auto asText = [](const auto& bytes) { return std::string(bytes.begin(), bytes.end()); };
    return address.is_v4() ? asText(address.to_v4().to_bytes()) : asText(address.to_v6().to_bytes());
}

std::string Count(int count) {
    return std::to_string(count) + "\n";
}

std::string Add(Registry& registry, const WordList& words) {
    Instance instance;
    instance.name = Name(words[1]);
    instance.type = Need(ServiceType(words[2]));
    const InterfaceList interfaces = Need(Interfaces(words[3]));
    instance.host = words[4];
    instance.port = Port(words[5]);
    if (words.size() > 6) instance.txt = Bytes(words[6]);
    for (const uint32_t each : interfaces) {
        instance.interfaceIndex = each;
        registry.Put(instance);
    }
    return {};
}

std::string Remove(Registry& registry, const WordList& words) {
    const std::string name = Name(words[1]);
    const std::string type = Need(ServiceType(words[2]));
    if (words.size() == 3) return Count(registry.Remove(name, type, {}));
    int count = 0;
    for (const uint32_t each : Need(Interfaces(words[3])))
        count += registry.Remove(name, type, each);
    return Count(count);
}

std::string SetTxt(Registry& registry, const WordList& words) {
    const std::string txt = Bytes(words[3]);
    return Count(registry.Change(Name(words[1]), Need(ServiceType(words[2])),
                                 [&](Instance& instance) { instance.txt = txt; }));
}

std::string SetPort(Registry& registry, const WordList& words) {
    const uint16_t port = Port(words[3]);
    return Count(registry.Change(Name(words[1]), Need(ServiceType(words[2])),
                                 [&](Instance& instance) { instance.port = port; }));
}

std::string MakeGhost(Registry& registry, const WordList& words) {
    return Count(registry.Change(Name(words[1]), Need(ServiceType(words[2])),
                                 [](Instance& instance) { instance.isGhost = true; }));
}

std::string SetHost(Registry& registry, const WordList& words) {
    const InterfaceList interfaces = Need(Interfaces(words[2]));
    std::vector<std::string> addresses;
    if (words.size() > 3)
        for (const std::string& each : Parts(words[3]))
            addresses.push_back(AddressBytes(each));
    for (const uint32_t each : interfaces)
        registry.SetAddresses(words[1], each, addresses);
    return {};
}

std::string Deliver(Registry& registry, const WordList& words) {
    if (words[1] != "add" && words[1] != "remove") throw BadWord();
    Instance instance;
    instance.name = Name(words[2]);
    instance.type = Need(ServiceType(words[3]));
    for (const uint32_t each : Need(Interfaces(words[4]))) {
        instance.interfaceIndex = each;
        registry.Deliver(instance, words[1] == "add");
    }
    return {};
}

std::string Many(Registry& registry, const WordList& words) {
    Instance instance;
    instance.type = Need(ServiceType(words[1]));
    const int32_t count = Need(Number(words[2], 1, 100'000));
    const InterfaceList interfaces = words.size() > 3 ? Need(Interfaces(words[3])) : InterfaceList{1};
    for (int32_t i = 1; i <= count; ++i) {
        const std::string number = std::to_string(i);
        instance.name = "Instance " + number;
        instance.host = "host-" + number + ".local.";
        instance.port = static_cast<uint16_t>(1024 + i % 60'000);
        const std::string item = "number=" + number;
        instance.txt = static_cast<char>(item.size()) + item;
        const char address[] = {127, static_cast<char>(1 + i / 65536), static_cast<char>(i / 256 % 256),
                                static_cast<char>(i % 256)};
        for (const uint32_t each : interfaces) {
            instance.interfaceIndex = each;
            registry.SetAddresses(instance.host, each, {std::string(address, sizeof address)});
            registry.Put(instance);
        }
    }
    return {};
}

std::string ErrorToAll(Registry& registry, const WordList& words) {
    const Kind kind = Need(OperationKind(words[1]));
    if (kind == kUpdate || kind == kReconfirm) throw BadWord();
    return Count(registry.ErrorToAll(kind, Need(Number(words[2], INT32_MIN, INT32_MAX))));
}

std::string FailNext(Registry& registry, const WordList& words) {
    registry.FailNext(Need(OperationKind(words[1])), Need(Number(words[2], 0, INT32_MAX)),
                      Need(Number(words[3], INT32_MIN, INT32_MAX)));
    return {};
}

std::string SetInterfaces(Registry& registry, const WordList& words) {
    registry.SetInterfaces(Need(Interfaces(words[1])));
    return {};
}

std::string ListOperations(Registry& registry, const WordList&) {
    std::string text;
    for (const KindName& each : kKinds) {
        if (each.kind == kUpdate) break;
        text += std::string(each.name) + " " + std::to_string(registry.Running(each.kind)) + " running " +
                std::to_string(registry.Started(each.kind)) + " started\n";
    }
    return text;
}

std::string List(Registry& registry, const WordList&) {
    return registry.List();
}

std::string Clear(Registry& registry, const WordList&) {
    registry.Clear();
    return {};
}

struct Command {
    const char* name;
    size_t fewest;  // arguments
    size_t most;
    std::string (*run)(Registry&, const WordList&);
    const char* arguments;
};
// Those without a function are the server's.
constexpr Command kCommands[] = {
    {"add", 5, 6, &Add, "NAME TYPE IF[,IF] HOST PORT [TXT]"},
    {"remove", 2, 3, &Remove, "NAME TYPE [IF[,IF]]"},
    {"txt", 3, 3, &SetTxt, "NAME TYPE TXT"},
    {"port", 3, 3, &SetPort, "NAME TYPE PORT"},
    {"ghost", 2, 2, &MakeGhost, "NAME TYPE"},
    {"host", 2, 3, &SetHost, "HOST IF[,IF] [ADDRESS[,ADDRESS]]"},
    {"many", 2, 3, &Many, "TYPE COUNT [IF[,IF]]"},
    {"deliver", 4, 4, &Deliver, "add|remove NAME TYPE IF[,IF]"},
    {"error", 2, 2, &ErrorToAll, "browse|resolve|address|register|query CODE"},
    {"fail", 3, 3, &FailNext, "browse|resolve|address|register|query|update|reconfirm COUNT CODE"},
    {"interfaces", 1, 1, &SetInterfaces, "IF[,IF]"},
    {"clear", 0, 0, &Clear, ""},
    {"list", 0, 0, &List, ""},
    {"operations", 0, 0, &ListOperations, ""},
    {"await", 2, 2, nullptr, "browse|resolve|address|register|query COUNT"},
    {"drop", 0, 0, nullptr, ""},
    {"halves", 1, 1, nullptr, "MILLISECONDS"},
    {"exit", 0, 0, nullptr, ""},
};

std::string Usage(const Command& command) {
    return std::string("usage: ") + command.name + " " + command.arguments + "\n";
}

}  // namespace

std::vector<std::string> Words(std::string_view line) {
    WordList words;
    for (size_t start = 0; (start = line.find_first_not_of(" \t\r\n", start)) != std::string_view::npos;) {
        const size_t end = std::min(line.find_first_of(" \t\r\n", start), line.size());
        words.emplace_back(line.substr(start, end - start));
        start = end;
    }
    return words;
}

std::optional<Kind> OperationKind(std::string_view name) {
    for (const KindName& each : kKinds)
        if (name == each.name) return each.kind;
    return {};
}

std::optional<int32_t> Number(std::string_view word, int32_t first, int32_t last) {
    int32_t number = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size()) return {};
    if (number < first || number > last) return {};
    return number;
}

std::optional<InterfaceList> Interfaces(std::string_view word) {
    InterfaceList list;
    for (const std::string& part : Parts(word)) {
        uint32_t number = 0;
        const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), number);
        if (error != std::errc() || end != part.data() + part.size()) return {};
        list.push_back(number);
    }
    return list;
}

std::string ScriptUsage() {
    std::string text;
    for (const Command& command : kCommands)
        text += std::string(command.name) + " " + command.arguments + "\n";
    return text;
}

ScriptAnswer RunScript(Registry& registry, std::string_view line) {
    const WordList words = Words(line);
    for (const Command& command : kCommands) {
        if (words.empty() || words[0] != command.name) continue;
        const size_t count = words.size() - 1;
        if (!command.run || count < command.fewest || count > command.most) return {false, Usage(command)};
        try {
            return {true, command.run(registry, words)};
        } catch (const BadWord&) {
            return {false, Usage(command)};
        }
    }
    return {false, ScriptUsage()};
}

}  // namespace DnsSdStandin
