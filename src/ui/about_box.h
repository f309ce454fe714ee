// The About box, opened from the host's menu.
#pragma once

struct AboutRecord;

namespace filter {

// Shows the box over the window of record's platformData and waits until it is closed. Does nothing without
// Win32. gSPBasicSuite must be set.
void ShowAboutBox(AboutRecord* record);

}  // namespace filter
