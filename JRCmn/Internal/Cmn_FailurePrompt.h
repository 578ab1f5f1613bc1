#pragma once

// Asks, in the test modes, whether to go on after a failure.
//
// Threads:   any; several prompts may be open at once
// Ownership: locations the user chose to ignore are kept for the life of the process
// Errors:    a prompt that cannot be shown counts as "continue"
// Units:     none

namespace NorvikLibInternal {

struct FailurePrompt {
    const char* expression;  // or the message of an unconditional failure
    bool hasExpression;      // "failed in" instead of "in"
    const char* file;
    int line;
    const char* continueWord;  // "Continue", "Throw"
    const char* kind;          // "Failed Verify", "Assert", "Failure"
};

// True when the user was asked and wants to go on. Does not return when the user chose to stop.
bool AskAboutFailure(const FailurePrompt& prompt);

bool IsFailurePromptOpen();

}  // namespace NorvikLibInternal
