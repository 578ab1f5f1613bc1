#pragma once

// What the library traced in this process, kept for the test to look at. A test that leaves failure lines untaken fails:
// nothing is reported that a test did not expect.
//
// Threads: any.  Ownership: none.  Errors: none.  Units: lines as traced, without time stamp, with their line feed.

#include <gtest/gtest.h>

#include <string>
#include <vector>

// All lines since the last call; the failure lines among them count as taken.
std::vector<std::string> TakeTraces();

// Only the failure lines ("REPORT >>> ..."); the other lines stay.
std::vector<std::string> TakeReports();

// Whether there was exactly one failure line since the last look, with this text in it. Takes it.
testing::AssertionResult ReportedOnce(const std::string& text);

// Whether one of the lines holds the text.
bool AnyContains(const std::vector<std::string>& lines, const std::string& text);

// For the test program's main.
void InstallTraceCapture();
