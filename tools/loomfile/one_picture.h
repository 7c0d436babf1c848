// A picture that is made of files that are named one by one.
#pragma once

#include "commands.h"

// The request may be without a target. Returns the exit code.
int makePicture(const PictureRequest& request, const Job& job);
