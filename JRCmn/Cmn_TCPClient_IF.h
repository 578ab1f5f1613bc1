#pragma once

// Cmn_TCPClient_IF: one end of a TCP connection, as servers (Cmn_TCPServer.h) hold it.
//
//   class MeterClient : public Cmn_TCPClient_IF { ... };
//   server: const std::shared_ptr<Cmn_TCPClient_IF> client = std::make_shared<MeterClient>();
//
// Threads:   the io_service's
// Ownership: always by std::shared_ptr; completions and callbacks hold weak pointers
// Errors:    as the derived class says
// Units:     none

#include <memory>

#include "JRCmn/Cmn_Export.h"

class NORVIK_API Cmn_TCPClient_IF : public std::enable_shared_from_this<Cmn_TCPClient_IF> {
public:
    virtual ~Cmn_TCPClient_IF() = 0;
    Cmn_TCPClient_IF(const Cmn_TCPClient_IF&) = delete;
    Cmn_TCPClient_IF& operator=(const Cmn_TCPClient_IF&) = delete;

protected:
    Cmn_TCPClient_IF() = default;
};
