#pragma once

// A target feeds a part of the library and a model of it with what it draws from the input, and compares. The fuzzer makes
// the inputs natively, the tests make some from a fixed seed, also under Wine.
//
//   FUZZ_TARGET(Sorting) {
//       std::string text = input.Text(40, "abc");
//       SAME(Sorted(text), SlowlySorted(text));
//   }
//
// Threads:   one at a time
// Ownership: an input only points to its bytes
// Errors:    SAME throws FuzzDifference with both values and the place. A used-up input goes on with zeros.
// Units:     none

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

class FuzzInput {
public:
    explicit FuzzInput(std::string_view bytes) : mBytes(bytes) {}

    bool IsEmpty() const { return mBytes.empty(); }
    // 0 to n - 1; takes as many bytes as that needs.
    std::uint32_t Below(std::uint32_t n) {
        std::uint32_t value = 0;
        for (std::uint32_t most = n - 1; most != 0; most >>= 8)
            value = value << 8 | Byte();
        return n == 0 ? value : value % n;
    }
    // Not for the whole range of the type.
    int Between(int low, int high) {
        return static_cast<int>(low + std::int64_t{Below(static_cast<std::uint32_t>(high - low + 1))});
    }
    template <typename List>
    auto OneOf(const List& list) {
        return std::data(list)[Below(static_cast<std::uint32_t>(std::size(list)))];
    }
    std::string Text(std::size_t maxLength, std::string_view alphabet) {
        std::string text(Below(static_cast<std::uint32_t>(maxLength + 1)), ' ');
        for (char& c : text)
            c = OneOf(alphabet);
        return text;
    }
    // Any bytes.
    std::string Bytes(std::size_t maxLength) {
        std::string text(Below(static_cast<std::uint32_t>(maxLength + 1)), ' ');
        for (char& c : text)
            c = static_cast<char>(Byte());
        return text;
    }

private:
    unsigned char Byte() {
        if (mBytes.empty()) return 0;
        const char byte = mBytes.front();
        mBytes.remove_prefix(1);
        return static_cast<unsigned char>(byte);
    }

    std::string_view mBytes;
};

struct FuzzDifference : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct FuzzTarget {
    const char* name;
    void (*feed)(FuzzInput&);

    static std::vector<FuzzTarget>& All() {
        static std::vector<FuzzTarget> all;
        return all;
    }
    static bool Add(const FuzzTarget& target) {
        All().push_back(target);
        return true;
    }
};

#define FUZZ_TARGET(Name)                                                                      \
    static void Feed##Name(FuzzInput& input);                                                  \
    [[maybe_unused]] static const bool is##Name##Added = FuzzTarget::Add({#Name, Feed##Name}); \
    static void Feed##Name(FuzzInput& input)

template <typename T>
void ShowFuzzValue(std::ostream& out, const T& value) {
    if constexpr (requires { out << value; }) {
        out << value;
    } else if constexpr (requires { std::begin(value); }) {
        for (const auto& each : value)
            ShowFuzzValue(out, each), out << " | ";
    } else {
        out << "?";
    }
}

#define SAME(a, b) CompareFuzzValues(a, b, #a " against " #b, __FILE__, __LINE__)

template <typename A, typename B>
void CompareFuzzValues(const A& a, const B& b, const char* texts, const char* file, int line) {
    if (a == b) return;
    std::ostringstream text;
    text << file << ":" << line << ": " << texts << ":\n";
    ShowFuzzValue(text, a);
    text << "\n";
    ShowFuzzValue(text, b);
    throw FuzzDifference(text.str());
}
