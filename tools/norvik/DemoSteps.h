#pragma once

// The steps of the tour, and what they share. Each step does something that a program would do, looks at what came of it
// and says so in plain words.
//
// Threads:   one
// Ownership: none
// Errors:    a step that returns false has failed
// Units:     none

#include <string>

namespace NorvikTool {

// Prints one finding; returns `ok`.
bool Say(bool ok, const std::string& what);

// How often a text stands in the log of this run.
int CountInLog(const std::string& what);

// DemoLoop.cpp
bool RunLoopThread();
bool BlockLoop();
bool CheckThreads();

// DemoProcesses.cpp
bool LoseServer();
bool ShareCounters();
// The other process of ShareCounters (DemoPart.cpp starts it): writes into a block of this name until it is killed.
int WriteCounters(const std::string& name);

// DemoNetwork.cpp
bool ExchangeFrames();

// DemoDiscovery.cpp
bool FindEngine();
// The other process of FindEngine: serves framed messages and announces itself, until it is killed.
int RunEngine();

// DemoToggles.cpp
bool ShowToggles();

// DemoBoard.cpp
bool ShowBoard();

// DemoShell.cpp
bool ShowShell();
// The other process of ShowShell: plays the shell, until it is killed.
int PlayShell();

}  // namespace NorvikTool
