#include "ui/about_box.h"

void ShowAboutBox(AboutRecord*) {}
