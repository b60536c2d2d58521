#include "analysis/passes.h"

// The track list itself was chosen by the reader (name scan against strip
// rows); here it becomes the run's list, and a bus that bears a track's name is
// that track, not a bus.
void bindTrackList(const SessionModel& model, const ConvertOptions&, BindingWork& work, AnalysisModel& analysis) {
    work.trackList = model.trackList.names;
    work.trackNames.insert(work.trackList.begin(), work.trackList.end());
    analysis.busNames.clear();
    for (const std::string& bus : model.busNames) {
        if (!work.trackNames.count(bus)) analysis.busNames.push_back(bus);
    }
}
