#include "JRCmn/Cmn_QuestionDialog.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Internal/Cmn_DynamicLibrary.h"
#include "JRCmn/Internal/Cmn_Windows.h"

using NorvikLibInternal::DynamicFunction;

namespace {

struct Slot {
    IPC_Benaphore lock;
    std::shared_ptr<const Cmn_QuestionDialog::Implementation> implementation;
    std::vector<DWORD> askingThreads;  // one that asks inside its question stands here twice
};

Slot& GetSlot() {
    static Slot& slot = *new Slot;
    return slot;
}

// This thread's place among those that ask.
class AskingScope {
public:
    AskingScope() {
        const IPC_BenaphoreLocker locker(GetSlot().lock);
        GetSlot().askingThreads.push_back(::GetCurrentThreadId());
    }
    ~AskingScope() {
        const IPC_BenaphoreLocker locker(GetSlot().lock);
        std::vector<DWORD>& threads = GetSlot().askingThreads;
        threads.erase(std::find(threads.begin(), threads.end(), ::GetCurrentThreadId()));
    }
    AskingScope(const AskingScope&) = delete;
    AskingScope& operator=(const AskingScope&) = delete;
};

// The plain message box has buttons of its own words, so the text says what each of them means.
int AskWithMessageBox(const Cmn_Question& question) {
    static DynamicFunction<int(WINAPI*)(HWND, LPCSTR, LPCSTR, UINT)> messageBox("user32.dll", "MessageBoxA");
    if (!messageBox || question.choices.empty() || question.choices.size() > 3)
        return Cmn_QuestionDialog::kNotAnswered;

    const struct {
        UINT buttons;
        std::vector<std::pair<int, const char*>> answers;
    } forms[] = {
        {MB_OK, {{IDOK, "OK"}}},
        {MB_YESNO, {{IDYES, "Yes"}, {IDNO, "No"}}},
        {MB_ABORTRETRYIGNORE, {{IDABORT, "Abort"}, {IDRETRY, "Retry"}, {IDIGNORE, "Ignore"}}},
    };
    const auto& form = forms[question.choices.size() - 1];
    Cmn_String text = question.text;
    text += "\n";
    for (size_t i = 0; i < question.choices.size(); ++i) {
        text.AppendPrintf("\n%s: %s", form.answers[i].second, question.choices[i].c_str());
    }
    const int answer =
        messageBox(nullptr, text, question.title, form.buttons | MB_ICONERROR | MB_SETFOREGROUND);
    for (size_t i = 0; i < form.answers.size(); ++i) {
        if (form.answers[i].first == answer) return static_cast<int>(i);
    }
    return Cmn_QuestionDialog::kNotAnswered;
}

}  // namespace

int Cmn_QuestionDialog::Ask(const Cmn_Question& question) {
    const AskingScope scope;
    std::shared_ptr<const Implementation> implementation;
    {
        IPC_BenaphoreLocker locker(GetSlot().lock);
        implementation = GetSlot().implementation;
    }
    return implementation ? (*implementation)(question) : AskWithMessageBox(question);
}

bool Cmn_QuestionDialog::IsAsking(unsigned int threadID) {
    const IPC_BenaphoreLocker locker(GetSlot().lock);
    const std::vector<DWORD>& threads = GetSlot().askingThreads;
    return std::find(threads.begin(), threads.end(), threadID) != threads.end();
}

void Cmn_QuestionDialog::SetImplementation(Implementation implementation) {
    auto shared =
        implementation ? std::make_shared<const Implementation>(std::move(implementation)) : nullptr;
    IPC_BenaphoreLocker locker(GetSlot().lock);
    std::swap(GetSlot().implementation, shared);
}
