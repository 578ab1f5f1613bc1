#include "Shared/Internal/JR_FeatureTable.h"

#include <array>
#include <cstddef>
#include <cstdint>

#include "Shared/JR_Features.h"

namespace {

constexpr std::size_t cCount = static_cast<std::size_t>(Feature::Count);

struct Row {
    int number;
    std::string_view name;
    bool isOn;
    bool isPublic;
    std::string_view description;
};

// Evaluated by the compiler alone: of its texts nothing comes into the library.
consteval auto ReadableRows() {
    constexpr bool On = true, Off = false, Public = true, Internal = false;
#define NORVIK_ROW(number, name, value, audience, description) \
    Row{number, #name, value, audience, description},
    return std::array{NORVIK_FEATURES(NORVIK_ROW)};
#undef NORVIK_ROW
}

consteval std::size_t ReadableSize() {
    std::size_t size = 0;
    for (const Row& row : ReadableRows())
        size += row.name.size() + 1 + row.description.size() + 1;
    return size;
}

// Depends on the place, so that neither the same letters nor the terminating zeroes show as the same bytes.
constexpr unsigned char Scramble(unsigned char byte, std::size_t place) {
    return static_cast<unsigned char>(byte ^ (0xB5 + place * 0x6D + (place >> 7) * 0x1F));
}

struct Table {
    struct Entry {
        std::uint16_t name;  // where the text begins
        std::uint16_t description;
        bool isOn;
        bool isPublic;
    };
    std::array<Entry, cCount> entries{};
    std::array<unsigned char, ReadableSize()> texts{};
};

consteval Table MakeTable() {
    Table table;
    std::size_t end = 0;
    const auto append = [&](std::string_view text) {
        const std::size_t start = end;
        for (const char c : text)
            table.texts[end] = Scramble(static_cast<unsigned char>(c), end), ++end;
        table.texts[end] = Scramble(0, end);
        ++end;
        return static_cast<std::uint16_t>(start);
    };
    std::size_t number = 0;
    for (const Row& row : ReadableRows()) {
        if (row.number != static_cast<int>(number)) throw "a number is out of order";
        const std::uint16_t name = append(row.name);
        table.entries[number++] = {name, append(row.description), row.isOn, row.isPublic};
    }
    return table;
}

static_assert(ReadableRows().size() == cCount && ReadableSize() <= 0xFFFF);
constinit const Table cTable = MakeTable();

char CharacterAt(std::size_t place) {
    return static_cast<char>(Scramble(cTable.texts[place], place));
}

std::string TextAt(std::size_t place) {
    std::string text;
    for (char c = CharacterAt(place); c != '\0'; c = CharacterAt(++place))
        text += c;
    return text;
}

bool IsTextAt(std::size_t place, std::string_view text) {
    for (const char c : text) {
        if (c == '\0' || CharacterAt(place++) != c) return false;
    }
    return CharacterAt(place) == '\0';
}

const Table::Entry& EntryOf(int feature) {
    return cTable.entries[static_cast<std::size_t>(feature)];
}

}  // namespace

namespace NorvikLibInternal {

std::string FeatureName(int feature) {
    return TextAt(EntryOf(feature).name);
}

std::string FeatureDescription(int feature) {
    return TextAt(EntryOf(feature).description);
}

bool IsFeatureOnByDefault(int feature) {
    return EntryOf(feature).isOn;
}

bool IsFeaturePublic(int feature) {
    return EntryOf(feature).isPublic;
}

int FindFeature(std::string_view name) {
    for (int feature = 0; feature < static_cast<int>(cCount); ++feature) {
        if (IsTextAt(EntryOf(feature).name, name)) return feature;
    }
    return -1;
}

}  // namespace NorvikLibInternal
