// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorivex {

/// Makes signals to end remove unfinished files, turns SIGXFSZ and SIGPIPE into ordinary write
/// errors (a file beyond the size limit, a console that went away) and opens standard streams that
/// are closed, lest a file take their place. With main's arguments the program may start anew, for
/// what the runtime of the threads reads only then.
void prepare_process(char** argv = nullptr);

}  // namespace quorivex
