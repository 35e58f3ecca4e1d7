# SPDX-License-Identifier: GPL-3.0-or-later
# cmake -D SOURCE=... -D OUTPUT=... -P commit.cmake: writes OUTPUT, a source file that holds the commit
# of the sources, "406a428" or "406a428, changed" where files differ from it. OUTPUT is touched only
# when that changes, so that nothing else is compiled again.
# An archive made by git archive has the commit in commit.txt. Otherwise git is asked about SOURCE
# itself, never about a repository around it; where it does not answer, the commit stays empty.
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/commit.txt commit LIMIT_COUNT 1)
if(commit MATCHES "^[0-9a-f]+$")
  string(SUBSTRING ${commit} 0 7 commit)
else()
  set(commit "")
  if(EXISTS ${SOURCE}/.git)
    execute_process(
      COMMAND git --no-optional-locks --git-dir=${SOURCE}/.git --work-tree=${SOURCE}
              describe --always --exclude=* --abbrev=7 "--dirty=, changed"
      WORKING_DIRECTORY ${SOURCE}
      OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
endif()
file(CONFIGURE OUTPUT ${OUTPUT} @ONLY CONTENT [[
#include "workbench/commands/commit.h"

const char* const quorivex::kCommit = "@commit@";
]])
