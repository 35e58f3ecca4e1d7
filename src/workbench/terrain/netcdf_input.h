// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <netcdf.h>

#include <cstdint>
#include <string>
#include <vector>

namespace quorivex {

/// A variable of a netCDF file, with the dimensions that it spans.
struct NetcdfVariable {
  int id = 0;
  std::string name;
  nc_type type = NC_NAT;
  std::vector<int> dimensions;

  bool holds_numbers() const { return type != NC_CHAR && type < NC_STRING; }
};

/// A netCDF file of a grid, held in memory: there the library refuses to read beyond the end of a
/// file cut short, instead of taking zeros. All functions throw StopRun, as bad_netcdf, for a
/// damaged file.
class NetcdfInput {
 public:
  explicit NetcdfInput(const std::string& name);
  NetcdfInput(const NetcdfInput&) = delete;
  NetcdfInput& operator=(const NetcdfInput&) = delete;
  ~NetcdfInput();

  const std::string& name() const { return name_; }
  std::vector<NetcdfVariable> variables() const;
  std::string dimension_name(int dimension) const;

  /// All values of a variable, the last dimension fastest, after a look whether a file of this
  /// size can hold them; each dimension should have from 2 to a million nodes.
  std::vector<double> values(const NetcdfVariable& variable) const;

  /// The text of an attribute in lower case; empty where there is none.
  std::string text(const NetcdfVariable& variable, const char* attribute) const;

  /// The numbers of an attribute; none where there is none.
  std::vector<double> numbers(const NetcdfVariable& variable, const char* attribute) const;

 private:
  std::int64_t nodes(int dimension) const;
  void need(int status) const;

  std::string name_;
  std::vector<char> bytes_;
  int id_ = 0;
};

/// Ends the command with what is wrong with a grid, and what a grid should be.
[[noreturn]] void bad_netcdf(const std::string& name, const std::string& why);

}  // namespace quorivex
