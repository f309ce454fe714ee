// The About box, which the host opens from its menu.
#pragma once

struct AboutRecord;

namespace filter {

// Shows the box over the window of record's platformData and waits until it is closed; does nothing where
// there is no Win32. The host's suite broker must have been stored before (gSPBasicSuite).
void ShowAboutBox(AboutRecord* record);

}  // namespace filter
