#pragma once

// The features of the console software that can be switched on and off: one list, from which the enumerators below and
// the library's table are made.
//
//   #include "Shared/JR_FeatureToggles.h"
//   #include "Shared/JR_Features.h"
//   if (JR_FeatureToggle(Feature::CueTimeline)) ShowTimeline();
//
// A feature keeps its number and its name for good: processes of different releases exchange values by number, and ft.dat
// keeps them by name. One that nobody asks for any more keeps its place.
//
// The library's own sources do without this header, the table's source aside: a name that they mention would be readable
// in the library's debug information.
//
// Threads:   any
// Ownership: none
// Errors:    a number out of order, or a name given twice, does not compile
// Units:     none

#include "Shared/JR_FeatureToggles.h"

// Number, name, whether it is on unless somebody decides otherwise (On, Off), whether users see it (Public) or only the
// team does (Internal), and what it does.
// clang-format off
#define NORVIK_FEATURES(FEATURE) \
    FEATURE(  0, DoublePrecisionMixBus,     On,  Internal, "Sum mix buses in double precision") \
    FEATURE(  1, LowLatencyInserts,         Off, Public,   "Insert points without the extra block of delay") \
    FEATURE(  2, InputDelayCompensation,    On,  Public,   "Align inputs whose processing takes longer") \
    FEATURE(  3, BusDelayCompensation,      Off, Public,   "Align buses that feed each other") \
    FEATURE(  4, DynamicEqualizer,          Off, Public,   "Two dynamic bands in every input equalizer") \
    FEATURE(  5, MultibandCompressor,       Off, Public,   "Three-band compressor on groups and outputs") \
    FEATURE(  6, SidechainFromAnyBus,       Off, Public,   "Dynamics keyed by any bus, not only by inputs") \
    FEATURE(  7, StereoWidthControl,        On,  Public,   "Width knob on stereo channels and groups") \
    FEATURE(  8, MidSideProcessing,         Off, Public,   "Mid and side in place of left and right") \
    FEATURE(  9, AutomaticMicMixer,         Off, Public,   "Share gain among the open microphones") \
    FEATURE( 10, FeedbackSuppressor,        Off, Internal, "Narrow filters that follow ringing frequencies") \
    FEATURE( 11, DeEsserOnInputs,           Off, Public,   "De-esser in the input channel's dynamics") \
    FEATURE( 12, TransientShaper,           Off, Internal, "Attack and sustain control in the channel strip") \
    FEATURE( 13, GraphicEqOnFaders,         On,  Public,   "Bands of a graphic equalizer on the faders") \
    FEATURE( 14, SurroundPanner,            Off, Public,   "Panner for buses of more than two channels") \
    FEATURE( 15, ObjectPanner,              Off, Internal, "Positions sent to an object renderer") \
    FEATURE( 16, BusToBusRouting,           Off, Public,   "Buses as inputs of other buses") \
    FEATURE( 17, DirectOutBeforeFader,      On,  Public,   "Choice of the direct output's tap") \
    FEATURE( 18, MixMinusBuses,             Off, Public,   "Return feeds without the caller's own voice") \
    FEATURE( 19, PolarityDetection,         Off, Internal, "Hint when two inputs cancel each other") \
    FEATURE( 20, GainTracking,              Off, Public,   "Digital trim follows a shared preamp's gain") \
    FEATURE( 21, SharedPreampArbitration,   Off, Internal, "Two consoles agree on who sets a preamp") \
    FEATURE( 22, VirtualSoundcheck,         On,  Public,   "Recorded tracks in place of the inputs") \
    FEATURE( 23, MonitorOfMixes,            On,  Public,   "Listen to a performer's mix at the console") \
    FEATURE( 24, TalkbackGroups,            Off, Public,   "Talkback to named groups of outputs") \
    FEATURE( 25, OscillatorSweep,           Off, Public,   "Sine sweep in the test generator") \
    FEATURE( 26, PinkNoiseBursts,           Off, Internal, "Gated pink noise in the test generator") \
    FEATURE( 27, LinkedStereoPairsByName,   Off, Internal, "Suggest stereo pairs from channel names") \
    FEATURE( 28, ChannelStripPresets,       On,  Public,   "Store and recall single channel strips") \
    FEATURE( 29, CrashDumpOnFailure,        Off, Internal, "Write a large crash dump instead of asking") \
    FEATURE( 30, MeterBridgeOnSecondScreen, Off, Public,   "Meters of all channels on the second screen") \
    FEATURE( 31, LoudnessMeters,            Off, Public,   "Loudness in LUFS beside the main meters") \
    FEATURE( 32, TruePeakMeters,            Off, Public,   "Peaks between samples in the output meters") \
    FEATURE( 33, GainReductionOverlay,      On,  Public,   "Gain reduction in the channel meters") \
    FEATURE( 34, MeterHistory,              Off, Public,   "Ten seconds of level behind each meter") \
    FEATURE( 35, SpectrogramView,           Off, Public,   "Spectrum over time on the master screen") \
    FEATURE( 36, PhaseScope,                Off, Public,   "Correlation and phase of a stereo bus") \
    FEATURE( 37, MetersAtSixtyHertz,        Off, Internal, "Redraw meters sixty times a second") \
    FEATURE( 38, MeterPeakHoldByUser,       On,  Public,   "Peak hold time as a user preference") \
    FEATURE( 39, ClipLogPerChannel,         Off, Internal, "Remember when each channel clipped") \
    FEATURE( 40, AnalyzerOnSolo,            On,  Public,   "The analyzer follows the solo bus") \
    FEATURE( 41, DelayFinder,               Off, Public,   "Measure the delay between two inputs") \
    FEATURE( 42, TransferFunctionView,      Off, Internal, "Magnitude and phase between two signals") \
    FEATURE( 43, BatteryMeterForWireless,   Off, Public,   "Battery of wireless packs in the channel") \
    FEATURE( 44, SignalPresenceOnNames,     On,  Public,   "Names light up while a signal is present") \
    FEATURE( 45, CueListSearch,             On,  Public,   "Find cues by name, number or note") \
    FEATURE( 46, CueListColors,             On,  Public,   "Colors for rows of the cue list") \
    FEATURE( 47, CueAutoFollow,             On,  Public,   "A cue recalls the next one after a time") \
    FEATURE( 48, CueTimeline,               Off, Public,   "Cues along a time axis") \
    FEATURE( 49, CueRehearsalMode,          Off, Public,   "Recall without what would disturb a rehearsal") \
    FEATURE( 50, RecallScopePerCue,         On,  Public,   "What each cue recalls and what it leaves") \
    FEATURE( 51, RecallSafeByParameter,     On,  Public,   "Safes for single parameters") \
    FEATURE( 52, RecallFadeCurves,          Off, Public,   "Curves for faders that move with a cue") \
    FEATURE( 53, SnapshotDiffView,          Off, Public,   "Show what a recall would change") \
    FEATURE( 54, SnapshotUndo,              On,  Public,   "Undo the last recall") \
    FEATURE( 55, AutoUpdateCues,            Off, Public,   "Changes go into the current cue at once") \
    FEATURE( 56, TimecodeCues,              Off, Public,   "Cues fire at a time code") \
    FEATURE( 57, TimecodeGenerator,         Off, Public,   "Send time code from the console") \
    FEATURE( 58, MidiShowControl,           On,  Public,   "Fire and follow cues by MIDI") \
    FEATURE( 59, OscShowControl,            Off, Public,   "Fire and follow cues by OSC") \
    FEATURE( 60, GeneralPurposeInputs,      On,  Public,   "Contacts that trigger macros") \
    FEATURE( 61, MacroEditor,               On,  Public,   "Record and edit user macros") \
    FEATURE( 62, MacroConditions,           Off, Internal, "Macros that ask before they act") \
    FEATURE( 63, UserKeysOnScreen,          Off, Public,   "User keys as buttons on the screen") \
    FEATURE( 64, ActorLibrary,              Off, Public,   "Understudies swap with all their settings") \
    FEATURE( 65, CharacterDcaSpill,         Off, Public,   "A control group's members on the faders") \
    FEATURE( 66, DcaPerScene,               Off, Public,   "Control groups assigned anew in every cue") \
    FEATURE( 67, ShowFileMerge,             Off, Public,   "Take parts of another show file") \
    FEATURE( 68, ShowFileCompression,       On,  Internal, "Compress show files as they are saved") \
    FEATURE( 69, ShowFileAutoSave,          On,  Public,   "Save the show every few minutes") \
    FEATURE( 70, ShowFileChecksum,          On,  Internal, "Detect show files that were damaged") \
    FEATURE( 71, ShowFileCloudCopy,         Off, Internal, "Copy saved shows to a network storage") \
    FEATURE( 72, OfflineEditing,            On,  Public,   "Edit shows without a connected engine") \
    FEATURE( 73, LegacyShowImport,          On,  Public,   "Open shows of the previous generation") \
    FEATURE( 74, ShowNotes,                 On,  Public,   "Notes for a show, a cue or a channel") \
    FEATURE( 75, UserAccessLevels,          Off, Public,   "Lock parts of the console by user") \
    FEATURE( 76, ConsoleLockWithPin,        On,  Public,   "Lock the console behind a number") \
    FEATURE( 77, RemoteAppTablets,          On,  Public,   "Control by the tablet application") \
    FEATURE( 78, RemoteAppPhones,           Off, Public,   "Personal mixes from a phone") \
    FEATURE( 79, RemoteAppReadOnly,         Off, Public,   "Remote applications that only look") \
    FEATURE( 80, RemoteAppGuestMixes,       Off, Internal, "Mixes for guests by a code on the screen") \
    FEATURE( 81, RemoteAppMeterStream,      On,  Internal, "Compressed meters for remote applications") \
    FEATURE( 82, RemoteDesktopSupport,      Off, Internal, "Screens shared with the support desk") \
    FEATURE( 83, RemoteSurfaceMirror,       Off, Public,   "A second surface mirrors the first") \
    FEATURE( 84, RemoteEditorByBrowser,     Off, Internal, "Edit names and routing in a browser") \
    FEATURE( 85, RemotePairing,             On,  Public,   "Confirm new remotes on the console") \
    FEATURE( 86, MultiUserUndo,             Off, Internal, "An undo list for every connected user") \
    FEATURE( 87, EngineRedundancy,          On,  Public,   "A second engine takes over") \
    FEATURE( 88, EngineHandoverTest,        Off, Public,   "Hand over on request, to test it") \
    FEATURE( 89, SurfaceRedundancy,         Off, Public,   "A second surface takes over") \
    FEATURE( 90, ConsoleMirroring,          Off, Public,   "Two consoles stay on the same show") \
    FEATURE( 91, ScreenLayouts,             On,  Public,   "Store and recall arrangements of windows") \
    FEATURE( 92, ExternalDisplayAbove,      Off, Public,   "The external display may be arranged above") \
    FEATURE( 93, ExternalDisplayTouch,      Off, Public,   "Touch on the external display") \
    FEATURE( 94, FixedResolutionDetection,  On,  Internal, "Recognise built-in screens by their modes") \
    FEATURE( 95, DisplayBrightnessByAmbient,Off, Public,   "Screens follow the light of the room") \
    FEATURE( 96, DisplayBrightnessPerScene, Off, Internal, "Screen brightness recalled with cues") \
    FEATURE( 97, NightColors,               Off, Public,   "Dark red screens for dim places") \
    FEATURE( 98, HighContrastScreens,       Off, Public,   "Stronger contrast for daylight") \
    FEATURE( 99, LargeTypeOnScreens,        Off, Public,   "Larger type for names and values") \
    FEATURE(100, TouchGestures,             On,  Public,   "Pinch and swipe on the screens") \
    FEATURE(101, TouchAndTurn,              On,  Public,   "The touched parameter follows one knob") \
    FEATURE(102, OnScreenKeyboardLayouts,   On,  Public,   "Keyboard layouts of several languages") \
    FEATURE(103, ChannelPictures,           Off, Public,   "Pictures in place of channel names") \
    FEATURE(104, ChannelColorsOnSurface,    On,  Public,   "Surface lights in the channel's color") \
    FEATURE(105, FaderStripLightCurves,     Off, Internal, "Brightness curve of the surface lights") \
    FEATURE(106, FaderTouchSelects,         On,  Public,   "Touching a fader selects its channel") \
    FEATURE(107, FaderFinePrecision,        Off, Public,   "Fine fader steps while a key is held") \
    FEATURE(108, FaderBankFollowsScreen,    Off, Public,   "Fader banks follow the shown channels") \
    FEATURE(109, EncoderAcceleration,       On,  Public,   "Knobs move further when turned fast") \
    FEATURE(110, HapticEncoders,            Off, Internal, "Detents on knobs that can give them") \
    FEATURE(111, JoystickPanner,            Off, Public,   "Pan by joystick") \
    FEATURE(112, FootSwitchMacros,          Off, Public,   "Foot switches run macros") \
    FEATURE(113, HeadphoneSpatializer,      Off, Internal, "Surround on headphones") \
    FEATURE(114, NetworkRedundancy,         On,  Public,   "A second network takes over") \
    FEATURE(115, NetworkDiscovery,          On,  Internal, "Find engines and surfaces on the network") \
    FEATURE(116, NetworkByServiceNames,     On,  Internal, "Connect by service name, not by address") \
    FEATURE(117, NetworkAddressEditor,      On,  Public,   "Set network addresses on the console") \
    FEATURE(118, NetworkQualityView,        Off, Public,   "Losses and delays of the control network") \
    FEATURE(119, NetworkTrafficShaping,     Off, Internal, "Control goes before meters on slow links") \
    FEATURE(120, NetworkTimeSync,           Off, Public,   "Set the clock from the network") \
    FEATURE(121, NetworkWakeEngines,        Off, Public,   "Wake sleeping engines by the network") \
    FEATURE(122, NetworkVlanTags,           Off, Internal, "Tag control packets for managed switches") \
    FEATURE(123, AudioOverIpRouting,        Off, Public,   "Route audio network streams at the console") \
    FEATURE(124, AudioOverIpNaming,         Off, Public,   "Channel names follow stream names") \
    FEATURE(125, AudioOverIpRedundantPorts, Off, Public,   "Streams over both network ports") \
    FEATURE(126, ClockSourceFallback,       On,  Public,   "Choose the next clock when one is lost") \
    FEATURE(127, ClockQualityMonitor,       Off, Internal, "Trace the drift of the selected clock") \
    FEATURE(128, SampleRateNinetySix,       On,  Public,   "Operation at 96 kHz") \
    FEATURE(129, SampleRateConverters,      Off, Public,   "Converters on digital inputs") \
    FEATURE(130, StageBoxHotPlug,           Off, Public,   "Stage boxes may come and go in a show") \
    FEATURE(131, StageBoxIdentify,          On,  Public,   "Flash the lights of a stage box") \
    FEATURE(132, StageBoxFirmwareUpdate,    Off, Internal, "Update stage boxes from the console") \
    FEATURE(133, OptionCardsInExpansion,    Off, Public,   "Option cards in the expansion unit") \
    FEATURE(134, MultitrackRecorder,        Off, Public,   "Record all inputs to a drive") \
    FEATURE(135, UsbStereoRecorder,         On,  Public,   "Record two channels to a memory stick") \
    FEATURE(136, UsbPlaybackLists,          Off, Public,   "Lists of pieces to play in order") \
    FEATURE(137, RecorderMarkersFromCues,   Off, Public,   "Cues set markers in recordings") \
    FEATURE(138, PluginHost,                Off, Internal, "Processing by a connected plug-in computer") \
    FEATURE(139, PluginLatencyReport,       Off, Internal, "Take plug-in latency into compensation") \
    FEATURE(140, ReverbSecondGeneration,    Off, Public,   "New algorithms of the reverb unit") \
    FEATURE(141, EffectsRackViews,          On,  Public,   "Effect units as front panels") \
    FEATURE(142, TempoFromTap,              On,  Public,   "Delays follow a tapped tempo") \
    FEATURE(143, DiagnosticsPage,           On,  Internal, "Temperatures, fans and loads on one page") \
    FEATURE(144, DiagnosticsUpload,         Off, Internal, "Send logs to the support desk") \
    FEATURE(145, LoopBlockWarnings,         On,  Internal, "Warn when a handler blocks the event loop") \
    FEATURE(146, VerbosePipeTraces,         Off, Internal, "Trace every message of named pipes") \
    FEATURE(147, VerboseSocketTraces,       Off, Internal, "Trace every frame of network connections") \
    FEATURE(148, MemoryWatch,               Off, Internal, "Trace the process memory once a minute") \
    FEATURE(149, ThreadPriorityCheck,       Off, Internal, "Check thread priorities while running") \
    FEATURE(150, FanSpeedControl,           On,  Internal, "Quiet fans while the machine is cool") \
    FEATURE(151, PowerSupplyAlerts,         On,  Public,   "Warn when one of two supplies fails") \
    FEATURE(152, UninterruptiblePower,      Off, Public,   "Save the show when the battery takes over") \
    FEATURE(153, StartupSelfTest,           On,  Internal, "Test surfaces and screens at start") \
    FEATURE(154, SoftwareUpdateByUsb,       On,  Public,   "Update the software from a memory stick") \
    FEATURE(155, SoftwareUpdateByNetwork,   Off, Internal, "Update the software from another console") \
    FEATURE(156, ShellRestartDialog,        On,  Internal, "Ask before the software is restarted") \
    FEATURE(157, TrainingMode,              Off, Public,   "Lessons that show what to press") \
    FEATURE(158, DemoShow,                  Off, Public,   "A show that plays itself at exhibitions") \
    FEATURE(159, SpokenChannelNames,        Off, Public,   "Speak the name of the selected channel") \
    FEATURE(160, ShutdownFromRemote,        Off, Internal, "Remote applications may shut the console down") \
    FEATURE(161, UsageCounters,             Off, Internal, "Count in the log which pages are used")
// clang-format on

namespace Feature {

#define NORVIK_ENUMERATOR(number, name, value, audience, description) name = (number),
enum EFeature : int { NORVIK_FEATURES(NORVIK_ENUMERATOR) };
#undef NORVIK_ENUMERATOR

}  // namespace Feature
