#pragma once

// Cmn_QuestionDialog: asks the user a question with named choices.
//
//   const int choice = Cmn_QuestionDialog::Ask({"Crash Dump?", text, {"Small Crash Dump", "Large Crash Dump", "None"}});
//
// Threads:   any; the call returns when the user has answered. The window is the caller's own.
// Ownership: none
// Errors:    kNotAnswered when no window can be shown or the user closed it
// Units:     the result is the index of the choice

#include <functional>
#include <vector>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

struct Cmn_Question {
    Cmn_String title;
    Cmn_String text;
    std::vector<Cmn_String> choices;  // one to three
};

namespace Cmn_QuestionDialog {

constexpr int kNotAnswered = -1;

using Implementation = std::function<int(const Cmn_Question&)>;

NORVIK_API int Ask(const Cmn_Question& question);

// Whether a thread is in Ask now.
NORVIK_API bool IsAsking(unsigned int threadID);

// Replaces the dialog, for programs with windows of their own kind and for tests. An empty one puts the platform's back.
NORVIK_API void SetImplementation(Implementation implementation);

}  // namespace Cmn_QuestionDialog
