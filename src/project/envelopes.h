// Automation lanes as REAPER envelopes: one writer for every track, master and
// send envelope, which differ only in name, value scale and point shape.
#pragma once

#include <string_view>

#include "session/automation.h"

class ProjectText;
struct SessionModel;

// How a lane's values are written: volume as gain, mute as on/off steps, pan inverted.
enum class LaneKind { volume = 0, mute = 1, pan = 2, dualPan = 3 };

struct EnvelopeForm {
    std::string_view name;  // VOLENV2, MASTERMUTEENV, AUXVOLENV, ...
    int number = -1;        // the source track index behind a send envelope's name, -1 none
    LaneKind kind = LaneKind::volume;
    bool arm = false;       // ARM 1
    bool active = true;     // ACT 1
    bool force = false;     // written even without points
};

// The value a lane point is written with.
double envelopeValue(double value, LaneKind kind);

// Writes the envelope of a lane: a point at 0 with the resting value, then one
// per breakpoint, ticks placed through the tempo map and samples by the rate.
// Gives the number of the lane's points; a lane without points and not forced
// writes nothing.
int writeEnvelope(ProjectText& text, const EnvelopeForm& form, const AutomationLane& lane, const SessionModel& model,
                  double sampleRate);

// What a strip's envelopes depend on beside its lanes.
struct StripEnvelopeForm {
    int automationMode = 1;     // the track's AUTOMODE: 1 arms its envelopes
    bool active = true;         // false: the track's automation mode is Off, its envelopes are kept but not played
    bool surroundPanner = false;
    bool unknownWidth = false;  // neither mono nor stereo: the third lane is no single pan
    bool dualPanLanes = false;  // a stereo strip whose two pan lanes carry its pan
    bool trimAndDualPan = true; // a return track writes only volume, mute and pan
};

// The envelopes of a strip in their order: volume, mute, pan, trim, then the
// two dual pan lanes. Gives the number of points written; dualPanPoints gets
// those of the two dual pan lanes.
int writeStripEnvelopes(ProjectText& text, const StripRow& strip, const StripEnvelopeForm& form,
                        const SessionModel& model, double sampleRate, int& dualPanPoints);
