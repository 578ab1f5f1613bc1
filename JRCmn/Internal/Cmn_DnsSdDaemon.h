#pragma once

// Whether the daemon behind the discovery library is there, asked without holding the caller up: a client library may try
// for seconds to reach a daemon that does not run, and the calls that start an operation wait for that.
//
//   const auto error = IsDnsSdDaemonThere() ? DNSServiceBrowse(...) : kDNSServiceErr_ServiceNotRunning;
//   if (error == kDNSServiceErr_ServiceNotRunning) NoteDnsSdDaemonGone();
//
// The question is one of the library's own calls (the daemon's version), on a thread of the platform's pool: neither a port nor
// the name of a platform's service is the same for all implementations of the interface.
//
// Threads:   any
// Ownership: a question that is under way keeps this library loaded
// Errors:    true as well where nobody can tell: without the library, or without the call in it
// Units:     milliseconds

namespace NorvikLibInternal {

// What was answered within the last kDnsSdAnswerAge holds. Otherwise the answer is waited for: kDnsSdFirstWait, or, when the
// daemon was not there the last time, kDnsSdNextWait and only for a new question. No answer in time is no daemon.
bool IsDnsSdDaemonThere();
constexpr unsigned kDnsSdAnswerAge = 2'000;
constexpr unsigned kDnsSdFirstWait = 1'000;
constexpr unsigned kDnsSdNextWait = 100;

// Somebody has found that it is not: until a question is answered again.
void NoteDnsSdDaemonGone();

// As at first, for another library. Waits for a question that is under way.
void ForgetDnsSdDaemon();

}  // namespace NorvikLibInternal
