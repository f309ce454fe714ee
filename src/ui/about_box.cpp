#include "ui/about_box.h"

namespace filter {

void ShowAboutBox(AboutRecord*) {}

}  // namespace filter
