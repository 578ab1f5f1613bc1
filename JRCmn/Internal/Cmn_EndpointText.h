#pragma once

// How an endpoint stands in log texts: "127.0.0.1:5000"; an IPv6 address in its own form, "::1:5000".
//
// Threads:   any
// Ownership: none
// Errors:    the error code, with the text "<unknown>"
// Units:     none

#include <boost/asio/ip/tcp.hpp>

#include "JRCmn/Cmn_String.h"

namespace NorvikLibInternal {

inline Cmn_String EndpointText(const boost::asio::ip::tcp::endpoint& endpoint,
                               boost::system::error_code& error) {
    const std::string address = endpoint.address().to_string(error);
    Cmn_String text = "<unknown>";
    if (!error) text.Printf("%s:%d", address.c_str(), endpoint.port());
    return text;
}

inline Cmn_String EndpointText(const boost::asio::ip::tcp::endpoint& endpoint) {
    boost::system::error_code ignored;
    return EndpointText(endpoint, ignored);
}

}  // namespace NorvikLibInternal
