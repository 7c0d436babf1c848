// Which system calls a worker does without.
#pragma once

// They answer that this is not permitted from now on. Nothing happens when the program is built without libseccomp.
void confineSystemCalls();
