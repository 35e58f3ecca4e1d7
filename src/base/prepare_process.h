// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace quorivex {

/// Makes failures that the system would answer with a signal, or with a mix-up of files, ordinary
/// ones: a file beyond the size limit, a console that went away, standard streams that are closed.
void prepare_process();

}  // namespace quorivex
