// A session with the dialog as a trace: what each action makes the module ask of its host, what it computes,
// and what controls and fields hold afterwards.
//
// Paintings are left out, since the system decides when they take place. The preview's size follows from the
// fonts of the machine; its numbers become names. The heap's blocks become one line for each keying, which
// takes its rows from the heap and gives all of them back. Violations are the driver's to judge.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <cmath>
#include <sstream>

#include "rig/dialog_driver.h"
#include "tests/trace.h"
#include "ui/dialog_ids.h"

class DialogSession {
  public:
    explicit DialogSession(Document document, HostOptions options = {})
        : run(std::move(document), Listen(std::move(options)), true, [this](HWND box) { OnBox(box); }) {
        if (run.Window() == nullptr) return;
        width_ = run.State().previewWidth;
        height_ = run.State().previewHeight;
        if (run.State().backdropMeanR > 0) Add("analysed");  // a new record is all zero
        AddValues();
    }

    void Step(const std::string& title, const std::function<void()>& action) {
        text_ += "\n== " + title + '\n';
        // The smallest change that an analysis of the same planes would undo.
        const double mean = run.State().backdropMeanR;
        const double marked = std::nextafter(mean, 1e9);
        run.State().backdropMeanR = marked;
        action();
        if (run.State().backdropMeanR != marked) {
            Add("analysed");
        } else {
            run.State().backdropMeanR = mean;
        }
        AddValues();
    }

    RunResult End(const std::string& title, const std::function<void()>& action) {
        text_ += "\n== " + title + '\n';
        const RunResult result = run.EndWith(action);
        Add("run -> " + std::to_string(result.result) + " at " + std::to_string(result.lastSelector));
        return result;
    }

    // What the next message box is answered with, before it is closed.
    void AtNextBox(std::function<void()> action) { atNextBox_ = std::move(action); }

    std::string Text() const {
        const std::string width = std::to_string(width_), height = std::to_string(height_);
        const std::pair<std::string, const char*> names[] = {
            {"(0 0 " + height + ' ' + width + ')', "(preview)"},
            {"(0 0 " + std::to_string(height_ - 1) + ' ' + std::to_string(width_ - 1) + ')', "(less)"},
            {"New " + std::to_string(width_ * height_) + ' ', "New plane "},
            {"New " + std::to_string(3 * width_ * height_) + ' ', "New picture "},
            {" row " + std::to_string(8 * width_) + ' ', " row of the preview "}};
        std::string text = text_;
        for (const auto& [number, name] : names) {
            for (std::size_t at = 0; (at = text.find(number, at)) != text.npos;)
                text.replace(at, number.size(), name);
        }
        return text;
    }

  private:
    HostOptions Listen(HostOptions options) {
        options.trace = [this](const std::string& line) { OnCall(line); };
        return options;
    }

    void Add(const std::string& line) { text_ += line + '\n'; }

    void OnCall(const std::string& line) {
        const auto begins = [&](const char* word) { return line.rfind(word, 0) == 0; };
        if (begins("displayPixels") || begins("!")) return;
        if (begins("AllocateBlock")) {
            line.find(" block ") != line.npos ? void(++blocks_) : Add("no memory to key with");
        } else if (begins("FreeBlock")) {
            if (--blocks_ == 0) Add("keyed");
        } else {
            Trace trace;
            trace.Add(line);
            text_ += trace.text;
        }
    }

    void OnBox(HWND box) {
        Add("box " + TextOf(box) + ": " + TextOf(GetDlgItem(box, 0xFFFF)));
        if (const std::function<void()> action = std::exchange(atNextBox_, nullptr)) action();
    }

    void AddValues() {
        constexpr int kTrackbars[] = {kIdRemoveGreen, kIdRestoreBlack, kIdAlterGreen, kIdSelectTransp,
                                      kIdScaleTransp, kIdAdjBGLevel,   kIdZoom};
        std::ostringstream controls, fields;
        for (const int id : kTrackbars) controls << ' ' << Send(run.Control(id), TBM_GETPOS);
        for (const int id : {kIdScrollX, kIdScrollY}) controls << ' ' << Send(run.Control(id), SBM_GETPOS);
        for (const int id : {kIdRealityInteg, kIdShowSelect, kIdOutputAlpha, kIdBlueLogic, kIdOrgPhoto}) {
            controls << ' ' << Send(run.Control(id), BM_GETCHECK);
        }
        const Globals& g = run.State();
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

    std::string text_ = "== opening\n";
    int blocks_ = 0;
    int width_ = 0, height_ = 0;
    std::function<void()> atNextBox_;

  public:
    DialogRun run;  // the last member: its end is the first
};
