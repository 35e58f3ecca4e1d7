// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quorivex {

/// The twelve lines of the input file, comments removed.
struct InversionParameters {
  std::int32_t mode = 0;     ///< 1 fixed target misfit, 2 fixed trade-off parameter
  double par = 0.0;          ///< chifact in mode 1, beta in mode 2
  double tolc = 0.0;         ///< checked, but no step uses it
  std::string obsFile;       ///< observations
  std::string mtxFile;       ///< sensitivity matrix
  std::string initialModel;  ///< "VALUE c" or a file name, as are the next and the bounds
  std::string referenceModel;
  std::string activeCellFile;  ///< file name or "null"
  std::string lowerBounds;
  std::string upperBounds;
  std::string alphaLine;           ///< alphas, length scales or "null"
  bool mrefInDerivatives = false;  ///< SMOOTH_MOD_DIF: the reference model enters the derivatives
  std::string weightFile;          ///< file name or "null"
};

/// The text from its first "!" to its end cut off, and trailing blanks with it.
std::string strip_comment(std::string text);

/// The sample that `quorivex -inp` prints.
std::string sample_input();

/// Reads and checks the input file.
/// @throws StopRun with the reader's message and the sample; file_not_found("input")
InversionParameters read_input_file(const std::string& name);

/// The misfit that mode 1 aims at, number of data times chifact; nothing in mode 2.
std::optional<double> target_misfit(const InversionParameters& input, std::int32_t ndata);

}  // namespace quorivex
