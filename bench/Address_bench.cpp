// Addresses as text against the platform's conversions, and the look-up of a device's maker.

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "JRCmn/Cmn_IPv4Address.h"
#include "JRCmn/Cmn_MACAddr.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "bench/Bench.h"

// After Winsock.
#include <ws2tcpip.h>

namespace {

constexpr std::size_t kCount = 1024;  // a power of two

// A generator of our own: std::mt19937 is also compiled into the benchmark library with other options, and the linker takes
// either form for both.
struct Random {
    uint32_t operator()() {
        state = state * 6'364'136'223'846'793'005 + 1'442'695'040'888'963'407;
        return static_cast<uint32_t>(state >> 32);
    }
    uint64_t state = 1;
};

std::vector<uint32_t> Words() {
    Random random;
    std::vector<uint32_t> words(kCount);
    for (uint32_t& word : words)
        word = random();
    return words;
}
const std::vector<uint32_t> kWords = Words();

std::vector<Cmn_String> Texts() {
    std::vector<Cmn_String> texts;
    for (const uint32_t word : kWords)
        texts.push_back(Cmn_IPv4Address(word).ToString());
    return texts;
}
const std::vector<Cmn_String> kTexts = Texts();

const Subject kParse(
    "address: parse", Run::kFree, "inet_pton", 1.0,
    [](benchmark::State& state) {
        std::size_t i = 0;
        for (auto _ : state)
            benchmark::DoNotOptimize(Cmn_IPv4Address(kTexts[i++ % kCount]));
    },
    [](benchmark::State& state) {
        std::size_t i = 0;
        for (auto _ : state) {
            in_addr address;
            ::inet_pton(AF_INET, kTexts[i++ % kCount].c_str(), &address);
            benchmark::DoNotOptimize(address);
        }
    });

// Ours makes a text of its own; the peer's buffer lies on the stack.
const Subject kPrint(
    "address: print", Run::kFree, "inet_ntop into a buffer", 1.0,
    [](benchmark::State& state) {
        std::size_t i = 0;
        for (auto _ : state)
            benchmark::DoNotOptimize(Cmn_IPv4Address(kWords[i++ % kCount]).ToString());
    },
    [](benchmark::State& state) {
        std::size_t i = 0;
        for (auto _ : state) {
            char text[16];
            benchmark::DoNotOptimize(::inet_ntop(AF_INET, &kWords[i++ % kCount], text, sizeof text));
        }
    });

// All OUIs that have a maker, in random order.
std::vector<Cmn_MACAddr> KnownDevices() {
    std::vector<Cmn_MACAddr> devices;
    for (uint32_t oui = 0; oui < 1 << 24; ++oui) {
        const unsigned char bytes[6] = {static_cast<unsigned char>(oui >> 16),
                                        static_cast<unsigned char>(oui >> 8),
                                        static_cast<unsigned char>(oui),
                                        1,
                                        2,
                                        3};
        const Cmn_MACAddr address(bytes, 6);
        if (address.GetVendor() != eNetworkDeviceVendor_Unknown) devices.push_back(address);
    }
    std::vector<Cmn_MACAddr> mixed(kCount);
    Random random;
    for (Cmn_MACAddr& device : mixed)
        device = devices[random() % devices.size()];
    return mixed;
}
const std::vector<Cmn_MACAddr>& Devices() {
    static const std::vector<Cmn_MACAddr> devices = KnownDevices();
    return devices;
}

void VendorOurs(benchmark::State& state) {
    const auto& devices = Devices();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(devices[i++ % kCount].GetVendor());
}

// The peer is what a caller would write with a map of its own.
template <typename Map>
void VendorPeer(benchmark::State& state) {
    const auto& devices = Devices();
    Map vendors;
    for (const Cmn_MACAddr& device : devices)
        vendors[device.GetVendorBytesAsUInt32()] = device.GetVendor();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(vendors.find(devices[i++ % kCount].GetVendorBytesAsUInt32())->second);
}

const Subject kVendorStd("MAC address: vendor", Run::kFree, "std::unordered_map", 1.2, VendorOurs,
                         VendorPeer<std::unordered_map<uint32_t, ENetworkDeviceVendor>>);
const Subject kVendorFlat("MAC address: vendor, flat", Run::kFree, "boost::unordered_flat_map", 1.2,
                          VendorOurs, VendorPeer<boost::unordered_flat_map<uint32_t, ENetworkDeviceVendor>>);

// ---- MAC addresses as text -------------------------------------------------------------------------------------

const Subject kMACParse(
    "MAC address: parse", Run::kFree, "sscanf", 1.0,
    [](benchmark::State& state) {
        const Cmn_String text = "00:1b:2f:aa:bb:cc";
        for (auto _ : state)
            benchmark::DoNotOptimize(Cmn_MACAddr::GetFromString(text));
    },
    [](benchmark::State& state) {
        const Cmn_String text = "00:1b:2f:aa:bb:cc";
        for (auto _ : state) {
            unsigned bytes[6];
            std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x", bytes, bytes + 1, bytes + 2, bytes + 3, bytes + 4,
                        bytes + 5);
            benchmark::DoNotOptimize(bytes);
        }
    });

}  // namespace
