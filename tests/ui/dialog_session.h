// Sessions with the dialog, kept as traces that contain their scripts: what each step makes the module ask of
// its host, what it computes, and what controls and fields hold afterwards. A step is a line
//
//   $ ACTION | ACTION ...
//
// The actions after the first are done within it: at the next message box, or, where the first is `paint`,
// while the host paints.
//
//   document WIDTH HEIGHT DEPTH LAYERS TOP LEFT WORDS
//                                                begins a session; see BeginSession for the words
//   VERB CONTROL NUMBERS                         see DialogSession::Do
//   repaints VERB ...                            the dialog repaints itself after it
//   end VERB ...                                 the run ends with it
//   replay                                       after the end: the same document with the recorded
//   parameters
//
// Paintings are left out, since the system decides when they take place. The preview's size depends on the
// machine's fonts: its numbers become names. Pictures and analyses are numbered in the order of their first
// appearance. The blocks of the heap become one line for each keying, which takes its rows from the heap and
// gives all of them back.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/support/dialog_driver.h"
#include "tests/support/test_shell.h"
#include "tests/support/trace.h"

namespace test_support {

using Bytes = std::vector<std::uint8_t>;

// The controls by the names that scripts give them. The first 14 hold values: sliders, scroll bars, boxes.
constexpr const char* kNames[] = {"remove", "restore", "alter", "select", "scale", "level",
                                  "zoom",   "across",  "down",  "blend",  "show",  "alpha",
                                  "blue",   "photo",   "reset", "ok",     "cancel"};
// The numbers in the template, without the names of dialog_ids.h: a wrong number there must be noticed.
constexpr int kIds[] = {1006, 1007, 1008, 1009, 1010, 1011, 1021, 1023, 1022,
                        1013, 1014, 1018, 1015, 1016, 1019, 1,    2};

class DialogSession {
  public:
    // A step's actions. With isQuiet the trace leaves out the calls.
    using Actions = std::vector<std::string>;

    DialogSession(Trace* trace, const Actions& actions, const Document& document, HostOptions options,
                  bool ownsMainWindow = true, bool isQuiet = false)
        : trace_(trace),
          stepBegin_(trace->text.size()),
          document_(document),
          isQuiet_(isQuiet),
          atBox_(actions.begin() + 1, actions.end()),
          run(document, Listen(std::move(options)), ownsMainWindow, [this](HWND box) { OnBox(box); }) {
        if (run.Window() == nullptr) {
            Finish(run.EndWith([] {}));
            return;
        }
        width_ = run.State().previewWidth;
        height_ = run.State().previewHeight;
        place_ = RectOf(run.Window());
        if (GetWindow(run.Window(), GW_OWNER) == nullptr) Add("the dialog has no owner");
        AddState(0);
    }

    void Step(const Actions& actions) {
        stepBegin_ = trace_->text.size();
        const bool ends = actions[0].rfind("end ", 0) == 0;
        const std::string action = actions[0].substr(ends ? 4 : 0);
        Actions& due = action == "paint" ? atPainting_ : atBox_;
        due.assign(actions.begin() + 1, actions.end());
        if (action == "replay") return Finish(run.Replay(document_));
        if (ends) return Finish(run.EndWith([&] { Do(action); }));
        // The smallest change, which a new analysis of the same planes would undo.
        const double mean = run.State().backdropMeanR;
        const double marked = std::nextafter(mean, 1e9);
        run.State().backdropMeanR = marked;
        Do(action);
        run.Settle();
        if (run.State().backdropMeanR == marked) run.State().backdropMeanR = mean;
        if (!due.empty()) Add("no box and no painting for the other actions");
        AddState(mean);
    }

  private:
    HostOptions Listen(HostOptions options) {
        options.trace = [this](const std::string& line) { OnCall(line); };
        options.displayed = [this, isPainting = false](const DisplayCall&) mutable {
            EXPECT_FALSE(std::exchange(isPainting, true)) << "a painting within a painting";
            DoAll(std::exchange(atPainting_, {}));
            isPainting = false;
        };
        return options;
    }

    void Add(const std::string& line) { trace_->text += line + '\n'; }

    // Gives the numbers of the step's lines that follow from the preview's size their names.
    void NamePreview() {
        const int bytes = document_.depth / 8, samples = width_ * height_;
        const auto number = [](int value) { return std::to_string(value); };
        const std::pair<std::string, const char*> names[] = {
            {"(0 0 " + number(height_) + ' ' + number(width_) + ')', "(preview)"},
            {"(0 0 " + number(height_ - 1) + ' ' + number(width_ - 1) + ')', "(less)"},
            {"New " + number(samples * bytes) + ' ', "New plane "},
            {"New " + number(3 * samples) + ' ', "New picture "},
            {" row " + number(8 * width_ * bytes) + ' ', " row of the preview "}};
        std::string& text = trace_->text;
        for (const auto& [found, name] : names) {
            for (std::size_t at = stepBegin_; (at = text.find(found, at)) != text.npos;)
                text.replace(at, found.size(), name);
        }
    }

    void OnCall(const std::string& line) {
        const auto begins = [&](const char* word) { return line.rfind(word, 0) == 0; };
        if (isQuiet_ || begins("!")) return;
        if (begins("the next call fails")) {
            fails_ = true;
            return;
        }
        const bool fails = std::exchange(fails_, false);
        if (fails) Add("the next call fails");
        if (begins("displayPixels")) {
            if (fails) Add("displayPixels");
        } else if (begins("AllocateBlock")) {
            line.find(" block ") != line.npos ? void(++blocks_) : Add("no memory to key with");
        } else if (begins("FreeBlock")) {
            if (--blocks_ == 0) Add("keyed");
        } else {
            trace_->Add(line);
        }
    }

    void OnBox(HWND box) {
        box_ = box;
        LRESULT icon = 0;
        for (HWND part = nullptr;
             icon == 0 && (part = FindWindowExA(box, part, "Static", nullptr)) != nullptr;)
            icon = Send(part, STM_GETICON);
        EXPECT_EQ(icon, reinterpret_cast<LRESULT>(LoadIconA(nullptr, IDI_INFORMATION)));
        EXPECT_TRUE(GetDlgItem(box, IDOK) != nullptr && GetDlgItem(box, IDCANCEL) == nullptr);
        EXPECT_EQ(GetWindow(box, GW_OWNER), nullptr) << "a box disables nothing";
        Add("box " + TextOf(box) + ": " + TextOf(GetDlgItem(box, 0xFFFF)));
        DoAll(std::exchange(atBox_, {}));
    }

    void DoAll(const Actions& actions) {
        for (const std::string& action : actions) Do(action);
    }

    // An unknown verb throws.
    void Do(const std::string& line) {
        std::string verb, name;
        int first = 0, second = 0;
        std::istringstream(line) >> verb >> name >> first >> second;
        const auto at = std::find(std::begin(kNames), std::end(kNames), name);
        const int id = at == std::end(kNames) ? 0 : kIds[at - kNames];
        const auto post = [&](WPARAM key) { PostMessageA(run.Control(id), WM_KEYDOWN, key, 1); };
        const auto parameters = reinterpret_cast<PluginParameters**>(ParametersHandle(run.TheHost()));
        const std::map<std::string, std::function<void()>> verbs = {
            {"slider", [&] { run.SetSlider(id, first); }},
            {"key", [&] { run.PressKeyOn(id, first); }},
            {"scroll", [&] { run.MoveScrollBar(id, first, second); }},
            {"click", [&] { run.ClickButton(id); }},
            {"notify", [&] { Send(run.Window(), WM_COMMAND, MAKEWPARAM(id, first)); }},
            {"check", [&] { Send(run.Control(id), BM_SETCHECK, static_cast<WPARAM>(first)); }},
            {"enter", [&] { post(VK_RETURN); }},
            {"escape", [&] { post(VK_ESCAPE); }},
            {"unsent", [&] { Send(run.Window(), WM_HSCROLL, SB_THUMBTRACK, 0); }},
            {"paint", [&] { run.PaintedAfter([] {}); }},
            {"move", [&] { SetWindowPos(run.Window(), nullptr, 3, 5, 0, 0, SWP_NOSIZE | SWP_NOZORDER); }},
            {"hide", [&] { ShowWindow(run.Window(), SW_HIDE); }},
            {"destroy", [&] { DestroyWindow(run.MainWindow()); }},
            {"repaints", [&] { run.AwaitRepaintBy([&] { Do(line.substr(verb.size() + 1)); }); }},
            {"drag", [&] { Drag(run.Control(id), first); }},
            {"drop", [&] { Drop(first); }},
            {"fail", [&] { SetFailing(name); }},
            {"fill", [&] { **parameters = {7, 7, 9, 9, 1, {}}; }},
        };
        verbs.at(verb)();
    }

    // The real mouse, in pixels.
    static void MoveMouse(POINT to, DWORD button) {
        const int width = GetSystemMetrics(SM_CXSCREEN), height = GetSystemMetrics(SM_CYSCREEN);
        INPUT input{};
        input.type = INPUT_MOUSE;
        input.mi.dx = (to.x * 65535 + width / 2) / (width - 1);
        input.mi.dy = (to.y * 65535 + height / 2) / (height - 1);
        input.mi.dwFlags = MOUSEEVENTF_ABSOLUTE | MOUSEEVENTF_MOVE | button;
        SendInput(1, &input, sizeof input);
    }

    // Drags a slider's thumb across until a message box has been shown and closed.
    void Drag(HWND slider, int by) {
        RECT thumb{};
        Send(slider, TBM_GETTHUMBRECT, 0, reinterpret_cast<LPARAM>(&thumb));
        thumb_ = {(thumb.left + thumb.right) / 2, (thumb.top + thumb.bottom) / 2};
        ClientToScreen(slider, &thumb_);
        box_ = nullptr;
        MoveMouse(thumb_, 0);
        MoveMouse(thumb_, MOUSEEVENTF_LEFTDOWN);
        MoveMouse({thumb_.x + by, thumb_.y}, 0);
        WaitFor("the box's end", [&] { return box_ != nullptr && !IsWindow(box_); });
    }

    // Within a message box: releases the slider, which still captures the mouse.
    void Drop(int by) {
        MoveMouse({thumb_.x + by, thumb_.y}, MOUSEEVENTF_LEFTUP);
        MSG message;
        while (GetCapture() != nullptr && GetMessageA(&message, nullptr, 0, 0)) DispatchMessageA(&message);
    }

    // Makes all calls of the kind fail, cuts the edge of all reads, or ends all failures.
    void SetFailing(const std::string& kind) {
        HostOptions& options = OptionsOf(run.TheHost());
        options.shrinkScaledReads = kind == "edge";
        options.failKind = kind == "rows"     ? HostCall::kAllocateBlock
                           : kind == "planes" ? HostCall::kNewBuffer
                                              : HostCall::kReadScaledPixels;
        options.failKindEnabled = kind != "nothing" && kind != "edge";
        options.failKindAt = 0;
    }

    void AddState(double meanBefore) {
        const Globals& g = run.State();
        if (g.backdropMeanR != meanBefore) {
            Add("analysed " +
                NumberOf(std::to_string(g.backdropMeanR) + ' ' + std::to_string(g.backdropMeanG) + ' ' +
                             std::to_string(g.backdropMeanB),
                         &analyses_));
        }
        AddValues(g);
        const RECT place = RectOf(run.Window());
        if (!EqualRect(&place, &place_)) Add("the dialog has moved");
        if (g.previewPixels == nullptr || width_ <= 0 || height_ <= 0) {
            Add("no picture");
            return NamePreview();
        }
        // The host must get the preview that the module's record contains.
        const std::size_t samples = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
        const Bytes pixels(g.previewPixels, g.previewPixels + 3 * samples);
        const Bytes mask(g.previewAlpha, g.previewAlpha + (g.FlagOutputAlpha == 0 ? 0 : samples));
        if (OptionsOf(run.TheHost()).offersDisplayPixels) {
            const DisplayCall call = run.PaintedAfter([] {});
            EXPECT_TRUE(call.pixels == pixels && call.maskBytes == mask) << trace_->text.substr(stepBegin_);
            EXPECT_EQ(call.map.masks != nullptr, g.FlagOutputAlpha != 0);
        }
        const std::string picture(pixels.begin(), pixels.end());
        Add("picture " + NumberOf(picture + std::string(mask.begin(), mask.end()), &pictures_));
        NamePreview();
    }

    void AddValues(const Globals& g) {
        std::ostringstream controls, fields;
        for (int i = 0; i < 14; ++i) {
            controls << ' '
                     << Send(run.Control(kIds[i]), i < 7   ? TBM_GETPOS
                                                   : i < 9 ? SBM_GETPOS
                                                           : BM_GETCHECK);
        }
        for (const int value :
             {g.SliderRemoveGreen, g.SliderRestoreBlack, g.SliderAlterGreen, g.SliderSelectTransp,
              g.SliderScaleTransp, g.SliderAdjBGLevel, g.previewZoom, g.previewScrollX, g.previewScrollY,
              std::int32_t{g.FlagRealityInteg}, std::int32_t{g.FlagShowSelect},
              std::int32_t{g.FlagOutputAlpha}, std::int32_t{g.FlagBlueLogic}, std::int32_t{g.FlagOrgPhoto}}) {
            fields << ' ' << value;
        }
        Add("controls" + controls.str());
        Add("fields  " + fields.str());
    }

    // The number of a value in the order of first appearance.
    static std::string NumberOf(const std::string& value, std::vector<std::string>* seen) {
        const auto at =
            static_cast<std::size_t>(std::find(seen->begin(), seen->end(), value) - seen->begin());
        if (at == seen->size()) seen->push_back(value);
        return std::to_string(at + 1);
    }

    void Finish(const RunResult& result) {
        Add("run -> " + std::to_string(result.result) + " at " + std::to_string(result.lastSelector));
        int leaks = 0;
        for (const Violation& violation : ReportOf(run.TheHost()).violations) {
            violation.kind == ViolationKind::kLeak ? void(++leaks) : Add(violation.text);
        }
        if (leaks > 0) Add(std::to_string(leaks) + " leaks");
        ClearReport(run.TheHost());
        NamePreview();
    }

    Trace* trace_;
    std::size_t stepBegin_;
    Document document_;  // before the run
    bool isQuiet_;
    bool fails_ = false;  // the next call
    int blocks_ = 0;
    int width_ = 0, height_ = 0;
    RECT place_{};
    std::atomic<HWND> box_ = nullptr;
    POINT thumb_{};  // before a drag
    Actions atBox_, atPainting_;
    std::vector<std::string> pictures_, analyses_;

  public:
    DialogRun run;  // the last member: its end is the first
};

// The session that an action `document ...` begins.
inline std::unique_ptr<DialogSession> BeginSession(Trace* trace, const DialogSession::Actions& actions) {
    int width = 0, height = 0, depth = 0, layers = 0, top = 0, left = 0;
    std::string word;
    std::istringstream(actions[0]) >> word >> width >> height >> depth >> layers >> top >> left;
    const auto has = [&](const char* name) { return actions[0].find(name) != std::string::npos; };
    Document document = (layers == 0 ? PatternDocument : GreenDocument)(width, height, depth, layers);
    if (has("selected")) document.selection = MakeChannel(document, 255);
    document.bounds = {top, left, top + height, left + width};
    HostOptions options = has("unread") ? FailingAt(HostCall::kReadScaledPixels, 1) : HostOptions{};
    options.offersDisplayPixels = !has("undisplayed");
    if (has("misowned")) options.mainWindow = reinterpret_cast<void*>(std::intptr_t{0x7ACE});
    return std::make_unique<DialogSession>(trace, actions, document, options,
                                           !has("ownerless") && !has("misowned"), has("quiet"));
}

// Plays the sessions of the trace of that name in tests/ui/traces.
inline testing::AssertionResult FollowSessions(const std::string& name) {
    Trace trace;
    const ModulePtr module = OpenBuiltModule();  // stays loaded, with its state, from session to session
    std::unique_ptr<DialogSession> session;
    return trace.Follow("ui/" + name, [&](const std::string& verb, std::istream& words) {
        std::string line;
        std::getline(words, line);
        line.insert(0, verb);
        DialogSession::Actions actions;
        for (std::size_t end = 0; end != line.npos; line.erase(0, end + 3)) {
            end = line.find(" | ");
            actions.push_back(line.substr(0, end));
        }
        if (verb != "document") return session->Step(actions);
        session.reset();  // there is one host at a time
        session = BeginSession(&trace, actions);
    });
}

}  // namespace test_support
