#pragma once

// What the samples in the public headers take from the program that they stand in. The samples are compiled, not run, so
// nothing here is defined.
//
// Threads, Ownership, Errors, Units: none

#include <boost/asio.hpp>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "JRCmn/Internal/Cmn_Windows.h"

// ---- Functions
template <typename... Values>
bool Use(const Values&...);
void AskAllBoards();
void AskForRestart();
template <typename... Values>
void Answer(const Values&...);
template <typename... Values>
void Connect(const Values&...);
void Disconnect(const Cmn_BonjourService&);
void DrawMeters();
void Listen(const Cmn_IPv4Address&);
void OnAddressChange();
bool OnAnswer(const char* data, size_t size);
void OnRegistered(Cmn_BonjourError error);
long Poll();
void PollFans();
void Blink(void* lamp);
void ReadMeters();
void Retry();
void ShowDoor();
void ShowLevel(double level);
void ShowSurface();
void ShowTimeline();
void ShowUnplugged();
void StartEngine();
void SwitchOutputsOff();
void Update(const Cmn_BonjourService&);
void Write(const char* data, size_t size);
std::shared_ptr<Cmn_TCPClient_IF> MakeMeterClient(const std::shared_ptr<Cmn_TCPServer::Socket>& socket,
                                                  const Cmn_TCPServer::Endpoint& peer,
                                                  const Cmn_TCPServer::ClosedCallback& onClosed);

// ---- Types
struct Levels {
    float channel[64];
};
class MySender : public Cmn_AutoTestTrace::StrategyTraceSender_IF {
public:
    void Send(const char* failureText) override;
};

// ---- Things
extern Cmn_BonjourServicePublisher publisher;
extern Cmn_IPv4Address server;
extern Cmn_String line, path, row, text;
extern IPC_Event event, mEvent, oneOfMyEvents;
extern IPC_NamedPipe pipe;
extern IPC_SharedMemory memory;
extern Levels levels, mLevels;
extern TxtRecord record;
extern boost::asio::io_service service;
extern boost::asio::ip::tcp::endpoint endpoint;
extern bool mStop, restart;
extern char answer[64];
extern const char* request;
extern double level;
extern int fan, speed, index, limit, value, lamp;
extern std::string message;
extern std::vector<int> values;
extern const unsigned char data[64];
extern unsigned int count, late, size;
extern void* handle;
