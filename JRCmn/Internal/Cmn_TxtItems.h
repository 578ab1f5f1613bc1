#pragma once

// The items of a DNS-SD TXT record, one after the other: a length byte, and as many bytes of the form key=value.
//
//   WalkTxtItems(bytes, [&](std::string_view key, std::string_view value) { ... }, [&](TxtFault fault) { ... });
//
// Threads:   any
// Ownership: the views are good as long as the bytes
// Errors:    an item that is cut off ends the walk; one without '=' is left out
// Units:     bytes

#include <string_view>

namespace NorvikLibInternal {

enum class TxtFault { eCutOff, eNoEquals };

template <typename OnItem, typename OnFault>
void WalkTxtItems(std::string_view bytes, OnItem onItem, OnFault onFault) {
    while (!bytes.empty()) {
        const std::size_t length = static_cast<unsigned char>(bytes.front());
        bytes.remove_prefix(1);
        if (length > bytes.size()) {
            onFault(TxtFault::eCutOff);
            return;
        }
        const std::string_view item = bytes.substr(0, length);
        bytes.remove_prefix(length);
        const std::size_t equals = item.find('=');
        if (equals == item.npos) {
            onFault(TxtFault::eNoEquals);
        } else {
            onItem(item.substr(0, equals), item.substr(equals + 1));
        }
    }
}

}  // namespace NorvikLibInternal
