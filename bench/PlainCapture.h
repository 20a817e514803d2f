#pragma once

#include <QByteArray>

/// One picture of the whole screen of DISPLAY, from 3840×2160 to 1920×1080, as JPEG of quality 60 in the file
/// `path`: the pipeline of strips written straight down, without regard for anything that can fail or differ.
/// Everything that lasts from picture to picture is made by the first call. False when it did not work.
bool takePlainPicture(const char* path);
