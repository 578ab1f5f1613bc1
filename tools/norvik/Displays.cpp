// norvik displays: which display is which, drawn to scale, and what arranging them would change; and arranging them.

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "JRCmn/Cmn_DefaultLog.h"
#include "JRCmn/Internal/Cmn_DisplayNames.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "Shared/Internal/JR_DisplayArrangement.h"
#include "Shared/Internal/JR_DisplayPlan.h"
#include "Shared/JR_DisplayManager.h"
#include "Shared/JR_FeatureToggles.h"
#include "Shared/JR_ShellApp.h"
#include "tools/norvik/DisplayDrawing.h"
#include "tools/norvik/OutputFile.h"
#include "tools/norvik/Verb.h"

namespace NorvikTool {
namespace {

using namespace NorvikLibInternal;

constexpr std::size_t cColumns = 76;

// The position "above" asks for its feature.
class Toggles {
public:
    Toggles() { JR_FeatureToggleManager::Init(true, ""); }
    ~Toggles() { JR_FeatureToggleManager::Destroy(); }
    Toggles(const Toggles&) = delete;
    Toggles& operator=(const Toggles&) = delete;
};

struct Shown {
    EDisplayFunction function = eDisplayFunction_Unknown;
    DrawnDisplay drawn;
    bool isOff = false;  // it leaves the desktop
};

// What is there, or what an example has in its place.
struct Situation {
    std::string heading, remark;
    std::vector<Shown> displays;
    std::optional<ArrangementFacts> facts;  // of a console
    std::string notArranged;                // why nothing would be arranged
};

void Name(Shown& shown, const char* otherName) {
    const bool isScreen = shown.function == eDisplayFunction_TKV,
               isExternal = shown.function == eDisplayFunction_ExternalGUI;
    shown.drawn.title = isScreen ? "TKV" : isExternal ? "External GUI" : otherName;
    shown.drawn.color = isScreen     ? EDisplayColor::Green
                        : isExternal ? EDisplayColor::Blue
                                     : EDisplayColor::Grey;
}

void Put(Shown& shown, const DisplayPlace& place) {
    shown.drawn.left = place.left;
    shown.drawn.top = place.top;
    shown.drawn.width = place.width;
    shown.drawn.height = place.height;
    shown.drawn.rotation = GetDisplayOrientationName(place.orientation);
}

// ---- This machine.

std::string WhyNotArranged(ESystemType system) {
    switch (system) {
        case eSystem_Standalone:
            return "This is a standalone PC: its displays are left alone.";
        case eSystem_Console:
            return "";
        default:
            return "This is no console with screens of its own: there is nothing to arrange.";
    }
}

Situation ExamineMachine(const JR_DisplayManager& manager) {
    const ESystemType system = JR_ShellApp::GetSystemType();
    const bool hasScreen = system == eSystem_Console && JR_DisplayManager::IsTKVScreenAvailable();
    Situation situation;
    situation.heading = "Displays of this machine";
    situation.remark = system != eSystem_Console ? "no console"
                       : hasScreen               ? "a console with built-in screen (TKV)"
                                                 : "a console without built-in screen";
    for (const auto& display : manager.GetDisplays()) {
        Shown shown;
        if (system == eSystem_Console) shown.function = JR_DisplayManager::GetDisplayFunction(*display);
        Name(shown, system == eSystem_Console ? "Unknown" : "Display");
        Put(shown, GetPlace(*display));
        shown.drawn.device = display->GetDeviceName().c_str();
        shown.drawn.monitor = display->GetPanelName().c_str();
        shown.drawn.isPrimary = display->IsPrimary();
        situation.displays.push_back(shown);
    }
    situation.notArranged = WhyNotArranged(system);
    if (system == eSystem_Console) {
        situation.facts = ExamineArrangement(manager, hasScreen);
        if (!situation.facts) situation.notArranged = "The topology cannot be read: arranging would fail.";
    }
    return situation;
}

// ---- Consoles to look at on any machine.

struct Example {
    const char *name, *remark;
    ArrangementFacts facts;
};

const std::vector<Example>& Examples() {
    using Manager = JR_DisplayManager;
    static const std::vector<Example> examples = [] {
        std::vector<Example> all;
        for (const auto position : {Manager::eExternalDisplayPos_Left, Manager::eExternalDisplayPos_Right,
                                    Manager::eExternalDisplayPos_Above}) {
            const char* const names[] = {"left", "right", "above"};
            all.push_back({names[position],
                           "a console with built-in screen (TKV) and external monitor, arranged",
                           {true, true, kScreenPlace, GetExternalPlace(position), position}});
        }
        all.push_back({"alone",
                       "a console without built-in screen, arranged",
                       {false, true, std::nullopt, kOnlyExternalPlace}});
        all.push_back({"unplugged",
                       "a console with built-in screen (TKV), whose external monitor is not seen",
                       {true, true, kScreenPlace}});
        all.push_back({"new",
                       "a new console, as the platform starts it",
                       {true, true, DisplayPlace{1920, 400, 1280, 800}, DisplayPlace{0, 0, 1920, 1200}}});
        return all;
    }();
    return examples;
}

Situation MakeExample(const std::string& name) {
    const auto& examples = Examples();
    const auto example =
        std::find_if(examples.begin(), examples.end(), [&](const Example& e) { return name == e.name; });
    if (example == examples.end()) throw UsageError("no example '" + name + "'");
    Situation situation;
    situation.heading = "Example, not this machine: " + name;
    situation.remark = example->remark;
    situation.facts = example->facts;
    const auto add = [&](EDisplayFunction function, const std::optional<DisplayPlace>& place,
                         const char* monitor) {
        if (!place) return;
        Shown shown = {.function = function, .drawn = {}};
        Name(shown, "");
        Put(shown, *place);
        shown.drawn.device = "\\\\.\\DISPLAY" + std::to_string(situation.displays.size() + 1);
        shown.drawn.monitor = monitor;
        shown.drawn.isPrimary = place->left == 0 && place->top == 0;
        situation.displays.push_back(shown);
    };
    add(eDisplayFunction_TKV, example->facts.screen, "Built-in panel");
    add(eDisplayFunction_ExternalGUI, example->facts.external, "External monitor");
    return situation;
}

// ---- What arranging would make of it.

// A console without built-in screen keeps one display: the external monitor, if it is known which one that is.
void ApplyTopology(const ArrangementFacts& facts, std::vector<Shown>& ioDisplays) {
    if (facts.isTopologyRight || facts.hasScreen || !facts.external) return;
    for (Shown& shown : ioDisplays)
        shown.isOff = shown.function != eDisplayFunction_ExternalGUI;
}

std::vector<Shown> ApplyPlan(std::vector<Shown> displays, const ArrangementPlan& plan) {
    for (const DisplayStep& step : plan.steps) {
        const auto shown = std::find_if(displays.begin(), displays.end(),
                                        [&](const Shown& s) { return s.function == step.display; });
        if (shown == displays.end()) continue;
        Put(*shown, step.place);
        if (step.setting != EDisplaySetting::Primary) continue;
        for (Shown& other : displays)
            other.drawn.isPrimary = &other == &*shown;
    }
    return displays;
}

std::vector<DrawnDisplay> Drawn(const std::vector<Shown>& displays) {
    std::vector<DrawnDisplay> drawn;
    for (const Shown& shown : displays)
        if (!shown.isOff) drawn.push_back(shown.drawn);
    return drawn;
}

std::string Where(const DrawnDisplay& display) {
    std::string text = SizeText(display) + " at " + PositionText(display);
    if (display.rotation != "None") text += ", turned " + display.rotation;
    return display.isPrimary ? text + ", primary" : text;
}

void PrintChanges(const Situation& now, const ArrangementPlan& plan, const std::vector<Shown>& after) {
    std::vector<std::vector<std::string>> rows;
    if (!plan.topologyFlags.empty()) {
        const std::string wanted = GetDisplayTopologyName(GetWantedTopology(now.facts->hasScreen));
        rows.push_back({"", "Topology", "becomes " + wanted});
    }
    for (std::size_t i = 0; i < after.size(); ++i) {
        const std::string from = Where(now.displays[i].drawn);
        const std::string to = after[i].isOff ? "off" : Where(after[i].drawn);
        if (from == to) continue;
        rows.push_back({"", after[i].drawn.title, from});
        rows.back().back().append(" -> ").append(to);
    }
    const bool changesNothing = rows.empty();
    if (now.facts->hasScreen && !now.facts->screen)
        rows.push_back({"", "TKV", "not seen: without it arranging fails"});
    if (!now.facts->external) rows.push_back({"", "External GUI", "not seen"});
    Print(changesNothing ? "\nNothing would move, but not everything is in its place:\n"
                         : "\nnorvik displays arrange would change:\n");
    PrintTable("lll", rows);
}

void PrintDisplays(const Situation& situation) {
    Print(situation.heading + " (" + situation.remark + ")\n\n");
    const auto drawn = Drawn(situation.displays);
    Print(DrawForTerminal(drawn, cColumns));
    std::vector<std::vector<std::string>> rows = {
        {"No.", "Which", "Display", "Size", "Position", "Rotation", "Monitor"}};
    for (std::size_t i = 0; i < drawn.size(); ++i)
        rows.push_back({std::to_string(i + 1), drawn[i].title, drawn[i].device, SizeText(drawn[i]),
                        PositionText(drawn[i]), drawn[i].rotation, drawn[i].monitor});
    Print("\n");
    PrintTable("rllllll", rows);
}

void WritePicture(const std::string& path, const Situation& situation, const std::vector<Shown>& after,
                  bool isNeeded) {
    std::vector<DrawnArrangement> arrangements = {
        {isNeeded ? "Now" : "Arrangement", Drawn(situation.displays)}};
    if (isNeeded) arrangements.push_back({"After norvik displays arrange", Drawn(after)});
    OutputFile file(path);
    file.Write(DrawAsSvg(situation.heading, situation.remark, arrangements));
    file.Finish();
    Print("\nPicture: " + path + "\n");
}

int Show(const Situation& situation, const Arguments& arguments) {
    PrintDisplays(situation);
    const ArrangementPlan plan = situation.facts ? PlanArrangement(*situation.facts) : ArrangementPlan();
    auto after = ApplyPlan(situation.displays, plan);
    if (situation.facts) ApplyTopology(*situation.facts, after);
    if (plan.IsNeeded()) {
        PrintChanges(situation, plan, after);
    } else {
        Print("\n" + (situation.facts ? "Everything is in its place." : situation.notArranged) + "\n");
    }
    if (arguments.Has("--svg")) WritePicture(arguments.Text("--svg", ""), situation, after, plan.IsNeeded());
    return cSuccess;
}

// ---- Arranging.

// A script that forgot --yes is not kept waiting; the null device is no terminal, either.
bool HasTerminal() {
    DWORD mode = 0;
    return ::GetConsoleMode(::GetStdHandle(STD_INPUT_HANDLE), &mode) != FALSE;
}

bool AskUser() {
    Print("\nArrange the displays now? [y/N] ");
    Flush();
    std::string answer;
    std::getline(std::cin, answer);
    return !answer.empty() && (answer[0] == 'y' || answer[0] == 'Y');
}

int Arrange(JR_DisplayManager& manager, const Arguments& arguments) {
    // As the shell does when it starts: it may not have run here yet.
    if (JR_ShellApp::GetSystemType() == eSystem_Console) JR_DisplayManager::InitRegistryInfo();
    const Situation situation = ExamineMachine(manager);
    Show(situation, arguments);
    if (!situation.facts) return JR_ShellApp::GetSystemType() == eSystem_Standalone ? cSuccess : cFailure;
    if (!PlanArrangement(*situation.facts).IsNeeded()) return cSuccess;
    if (!arguments.Has("--yes") && !HasTerminal()) {
        Print("Nothing was changed; --yes arranges without a question.\n");
        return cFailure;
    }
    if (!arguments.Has("--yes") && !AskUser()) {
        Print("Nothing was changed.\n");
        return cSuccess;
    }
    bool isRestartRequired = false, isChanged = false;
    if (!manager.ArrangeDisplayConfig(isRestartRequired, isChanged))
        throw std::runtime_error("the displays could not be arranged; the log says why");
    Print(isRestartRequired ? "Arranged. The machine must be restarted.\n\n" : "Arranged.\n\n");
    PrintDisplays(ExamineMachine(manager));
    return cSuccess;
}

int RunDisplays(const Arguments& arguments) {
    Cmn_DefaultLog::GetInstance().SetLogToTerminal(false);
    const auto& words = arguments.Positionals();
    const bool arranges = words.size() == 1 && words[0] == "arrange";
    if (!arranges && !words.empty()) throw UsageError("displays takes 'arrange' or nothing");
    if (arranges && arguments.Has("--example")) throw UsageError("an example cannot be arranged");
    if (!arranges && arguments.Has("--yes")) throw UsageError("--yes belongs to 'arrange'");
    if (arguments.Has("--example")) return Show(MakeExample(arguments.Text("--example", "")), arguments);
    const Toggles toggles;
    JR_DisplayManager manager;
    return arranges ? Arrange(manager, arguments) : Show(ExamineMachine(manager), arguments);
}

}  // namespace

extern const Verb cDisplaysVerb;
const Verb cDisplaysVerb{
    "displays",
    "[arrange]",
    "which display is which, drawn to scale, and arranging them",
    "Draws the displays as they stand, says which one is the console's built-in screen\n"
    "(TKV) and which the external monitor, and what arranging them would change.\n"
    "'arrange' does that, after a question. An example shows a console on any machine:\n"
    "left, right, above (of the external monitor), alone (no built-in screen), unplugged\n"
    "(no external monitor), new (not arranged yet).\n",
    {{"--svg", "FILE", "draw a picture, too"},
     {"--example", "NAME", "a console in place of this machine"},
     {"--yes", nullptr, "arrange without a question"}},
    &RunDisplays};

}  // namespace NorvikTool
