// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/line_names.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_file.h"

namespace quorivex {
namespace {

constexpr std::string_view kLine = "labels of the data: line";
constexpr std::string_view kFiducial = "labels of the data: fiducial";
constexpr std::string_view kBoth = "labels of the data: line, fiducial";
constexpr std::size_t kMaxDatumLine = 1000;  // characters, as in the reader of the values
constexpr int kLinesAboveData = 3;           // field, direction, number of data

/// A label as the file holds it: on one line, and a fiducial without the comma that ends a line's
/// name.
std::string one_word(std::string text, bool comma_is_free) {
  std::replace_if(
      text.begin(), text.end(),
      [&](unsigned char c) { return c < ' ' || (c == ',' && !comma_is_free); }, ' ');
  return text;
}

/// Adds the labels after the values of a datum, empty ones where there are none.
void add_labels(std::string_view text, bool lines, bool fiducials, StationLabels& labels) {
  const std::size_t mark = std::min(text.find('!'), text.size() - 1);
  const std::string_view label = text.substr(mark + 1);
  const std::size_t comma = label.rfind(',');
  std::string_view line = lines ? label : "";
  std::string_view fiducial = lines ? "" : label;
  if (lines && fiducials && comma != std::string_view::npos) {
    line = label.substr(0, comma);
    fiducial = label.substr(comma + 1);
  }
  if (lines) labels.line.emplace_back(trim(line));
  if (fiducials) labels.fiducial.emplace_back(trim(fiducial));
}

}  // namespace

std::string labels_comment(const StationLabels& labels) {
  if (labels.line.empty() && labels.fiducial.empty()) return "";
  if (labels.fiducial.empty()) return std::string(kLine);
  return std::string(labels.line.empty() ? kFiducial : kBoth);
}

std::vector<std::string> labels_of_data(const StationLabels& labels) {
  std::vector<std::string> texts(std::max(labels.line.size(), labels.fiducial.size()));
  for (std::size_t i = 0; i < labels.line.size(); ++i) texts[i] = one_word(labels.line[i], true);
  for (std::size_t i = 0; i < labels.fiducial.size(); ++i) {
    texts[i] += (labels.line.empty() ? "" : ", ") + one_word(labels.fiducial[i], false);
  }
  return texts;
}

StationLabels read_station_labels(const std::string& observations_file, std::int32_t ndata) {
  std::optional<TextFile> file = TextFile::open(observations_file);
  if (!file) file_not_found("data", observations_file);
  StationLabels labels;
  bool lines = false;
  bool fiducials = false;
  std::int64_t above = 0;  // of the lines that are neither comments nor blank
  std::int64_t read = 0;
  for (std::string text; read < ndata && file->read_line(text, kMaxDatumLine);) {
    if (trim(text).empty()) continue;
    if (text.front() == '!') {
      const std::string_view comment = trim(std::string_view(text).substr(1));
      if (above == 0 && comment == kBoth) lines = fiducials = true;
      if (above == 0 && comment == kLine) lines = true;
      if (above == 0 && comment == kFiducial) fiducials = true;
    } else if (above < kLinesAboveData) {
      if (!lines && !fiducials) return {};
      ++above;
    } else {
      add_labels(text, lines, fiducials, labels);
      ++read;
    }
  }
  return read == ndata ? labels : StationLabels{};
}

}  // namespace quorivex
