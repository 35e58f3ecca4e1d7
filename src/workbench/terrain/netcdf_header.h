// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace quorivex {

/// Whether a file that begins so is netCDF: classic ("CDF" and a version) or HDF5.
bool is_netcdf(std::string_view beginning);

/// Whether all that the header of a classic netCDF file counts lies within its bytes, and its types
/// are those that there are (layout: NetCDF Users Guide, File Format Specifications). The library
/// trusts both, and crashes or takes minutes where they are damaged. True for HDF5 files.
bool header_fits(std::string_view bytes);

}  // namespace quorivex
