// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/observations.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "base/atomic_file.h"
#include "base/fixed_format.h"
#include "base/free_format.h"
#include "base/parallel_text.h"
#include "base/stop_run.h"
#include "base/text_faults.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxLine = 1000;
constexpr std::int64_t kDatumLineBytes = 128;  // more than a line without its label needs

/// The lines of a data file without comments and blank lines.
class DataLines {
 public:
  explicit DataLines(const std::string& name) : name_(name), file_(TextFile::open(name)) {
    if (!file_) file_not_found("data", name);
  }

  /// Reads the next data line's values; ends the run when they are not there.
  template <class... Values>
  void read(Values&... values) {
    next();
    if (FreeFormat(line_).read(values...)) return;
    stop_run(fmt::format(" ERROR reading data file {} {}", name_, line_),
             where(fmt::format(" should begin with {} numbers, not {}", sizeof...(values),
                               numbers_of_line())));
  }

  /// True when the next data line holds at least `count` numbers; the line stays the next one.
  bool next_holds(int count) {
    next();
    repeat_line_ = true;
    FreeFormat line(line_);
    double value = 0.0;
    while (count > 0 && line.next(value) == Read::value) --count;
    return count == 0;
  }

  [[noreturn]] void refuse(std::string_view why) const {
    stop_run(fmt::format(" ERROR: {} {}", why, line_), where(""));
  }

 private:
  int numbers_of_line() const {
    FreeFormat line(line_);
    constexpr int kMost = 10;  // of 1000000*0.5 no more are worth counting
    int count = 0;
    for (double value = 0.0; count < kMost && line.next(value) == Read::value;) ++count;
    return count;
  }

  /// What is known of the line, for the detail of a message.
  std::string where(const std::string& what) const {
    if (const std::string format = foreign_format(line_); !format.empty()) {
      return fmt::format("{} {}.", name_, format);
    }
    const std::string_view comma = decimal_comma_in(line_);
    const std::string hint =
        comma.empty()
            ? ""
            : fmt::format(" In '{}' the comma separates two values; write a decimal point.", comma);
    return fmt::format("Line {} of {}{}.{}", number_, name_, what, hint);
  }

  void next() {
    if (std::exchange(repeat_line_, false)) return;
    do {
      if (!file_->read_line(line_, kMaxLine)) {
        stop_run(fmt::format(" ERROR: end reached when reading data file {}", name_),
                 fmt::format("The file has {} lines.", number_));
      }
      ++number_;
      line_.resize(trim_right(line_).size());
    } while (line_.empty() || line_.front() == '!');
  }

  const std::string& name_;
  std::optional<TextFile> file_;
  std::string line_;
  std::int64_t number_ = 0;  // of the line in the file, from 1
  bool repeat_line_ = false;
};

void read_datum(DataLines& lines, bool with_values, Observations& data) {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
  double aincl = 0.0;
  double adecl = 0.0;
  double obs = 0.0;
  double std = 0.0;
  if (data.idir == 1) {
    with_values ? lines.read(x, y, z, obs, std) : lines.read(x, y, z);
  } else {
    with_values ? lines.read(x, y, z, aincl, adecl, obs, std) : lines.read(x, y, z, aincl, adecl);
    append_checked(data.datum_aincl, aincl);
    append_checked(data.datum_adecl, adecl);
  }
  append_checked(data.x, x);
  append_checked(data.y, y);
  append_checked(data.z, z);
  if (!with_values) return;
  if (!(std > 0.0)) lines.refuse("standard deviation should be greater than 0.");
  append_checked(data.obs, obs / std);
  append_checked(data.std, std);
}

/// True within the ten digits that a coordinate is printed with.
bool same_printed(double printed, double value) {
  return std::abs(printed - value) <= 1e-9 * std::abs(value);
}

}  // namespace

Observations read_data_file(const std::string& name, DataColumns columns,
                            std::optional<std::int32_t> ndata_expected) {
  DataLines lines(name);
  Observations data;
  lines.read(data.incl, data.decl, data.geomag);
  lines.read(data.aincl, data.adecl, data.idir);
  if (data.idir != 0 && data.idir != 1) lines.refuse("idir in data file should be 0 or 1.");
  lines.read(data.ndata);
  if (data.ndata < 1) {
    stop_run(fmt::format(" ERROR: Number of data should be positive. {}", name));
  }
  if (ndata_expected && data.ndata != *ndata_expected) {
    stop_run(" ERROR: Number of data is inconsistent in obs and mtx files.");
  }
  const bool with_values =
      columns == DataColumns::values ||
      (columns == DataColumns::as_found && lines.next_holds(data.idir == 1 ? 5 : 7));
  // The vectors grow with the lines that are there, not with the number that the file claims.
  with_alloc_label("read_data_file", [&] {
    for (std::int32_t i = 1; i <= data.ndata; ++i) read_datum(lines, with_values, data);
  });
  return data;
}

std::vector<double> read_predicted_data(const std::string& name, const Observations& observations) {
  DataLines lines(name);
  const Observations& o = observations;
  double skipped = 0.0;
  std::int32_t idir = 1;
  std::int32_t count = 0;
  std::array<double, 5> field{};  // printed with two decimals
  lines.read(field[0], field[1], field[2]);
  lines.read(field[3], field[4], idir);
  lines.read(count);
  const std::array<double, 5> expected{o.incl, o.decl, o.geomag, o.aincl, o.adecl};
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (std::abs(field[i] - expected[i]) <= 0.0051 + 1e-9 * std::abs(expected[i])) continue;
    stop_run(fmt::format(
        " ERROR: the field or the direction of the anomaly in {} is not that of the observations: "
        "{:.2f} and {:.2f}.\n They were changed since the run, or are of another one: run quorivex "
        "again.",
        name, field[i], expected[i]));
  }
  if (count != o.ndata) {
    stop_run(fmt::format(" ERROR: {} should hold {} data, as the observations do; found {}.", name,
                         o.ndata, count));
  }
  std::vector<double> values;  // grows with the lines that are there
  for (std::int32_t i = 1; i <= count; ++i) {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    double value = 0.0;
    if (idir == 0) {
      lines.read(x, y, z, skipped, skipped, value);
    } else {
      lines.read(x, y, z, value);
    }
    const std::size_t at = as_size(i - 1);
    if (!same_printed(x, o.x[at]) || !same_printed(y, o.y[at]) || !same_printed(z, o.z[at])) {
      stop_run(fmt::format(
          " ERROR: datum {} is at {:.10g} {:.10g} {:.10g} in {}, but at {:.10g} {:.10g} "
          "{:.10g} in the observations.\n The stations were changed since the run, or "
          "are of another one: run quorivex again.",
          i, x, y, z, name, o.x[at], o.y[at], o.z[at]));
    }
    append_checked(values, value);
  }
  return values;
}

void write_data_file(const std::string& name, const Observations& observations,
                     View1<const double> values, View1<const double> std,
                     const std::vector<std::string>& comments,
                     const std::vector<std::string>& labels) {
  const Observations& o = observations;
  AtomicFile file(name);
  for (std::string comment : comments) {
    // A name with a line end must not leave its comment.
    std::replace_if(
        comment.begin(), comment.end(), [](unsigned char c) { return c < ' '; }, ' ');
    file.append("! " + comment + "\n");
  }
  file.append(fixed(o.incl, 10, 2) + fixed(o.decl, 10, 2) + fixed(o.geomag, 10, 2) +
              "  !! incl, decl, geomag\n");
  file.append(fixed(o.aincl, 10, 2) + fixed(o.adecl, 10, 2) + whole(o.idir, 7) +
              "     !! aincl, adecl, idir\n");
  file.append(whole(o.ndata, 7) + right("", 23) + "  !! # of data\n");
  std::size_t label_bytes = 0;
  for (const std::string& label : labels) label_bytes = std::max(label_bytes, label.size());
  const std::int64_t bytes = kDatumLineBytes + static_cast<std::int64_t>(label_bytes);
  append_in_parallel(file, values.size(), bytes, [&](std::int64_t i, std::string& text) {
    const std::size_t at = as_size(i - 1);
    for (const double coordinate : {o.x[at], o.y[at], o.z[at]}) append_sci(text, coordinate, 17, 9);
    text += "  ";
    if (o.idir == 0) {
      append_sci(text, o.datum_aincl[at], 12, 4);
      append_sci(text, o.datum_adecl[at], 12, 4);
      text += "  ";
    }
    append_sci(text, values(i), 14, 6);
    if (std.size() > 0) append_sci(text, std(i), 14, 6);
    if (!labels.empty()) text.append("  ! ").append(labels[at]);
    text.push_back('\n');
  });
  file.commit();
}

void write_predicted_data(std::string_view base, std::string_view extension,
                          const Observations& observations, View1<const double> predicted,
                          std::int32_t iteration) {
  constexpr const char* kRoutine = "write_predicted_data";
  with_alloc_label(kRoutine, [&] {
    std::vector<double> values = allocate<double>(observations.std.size(), kRoutine);
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = predicted.data()[i] * observations.std[i];
    }
    write_data_file(numbered_name(base, iteration, extension), observations, values);
  });
}

}  // namespace quorivex
