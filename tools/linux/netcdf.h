// libnetcdf, which is loaded when something is written with it: it and what it needs in turn take
// longer to load than most commands run.

#ifndef TOOLS_LINUX_NETCDF_H_
#define TOOLS_LINUX_NETCDF_H_

#include <netcdf.h>

namespace tervalon::tools {

struct Netcdf {
  decltype(&nc_create) create;
  decltype(&nc_put_att_text) put_att_text;
  decltype(&nc_def_var) def_var;
  decltype(&nc_def_dim) def_dim;
  decltype(&nc_enddef) enddef;
  decltype(&nc_put_var_float) put_var_float;
  decltype(&nc_close) close;
  decltype(&nc_abort) abort;
  decltype(&nc_strerror) strerror;
  decltype(&nc_inq_libvers) inq_libvers;
};

// Throws a Failure where the library is not installed.
const Netcdf& LoadNetcdf();

}  // namespace tervalon::tools

#endif  // TOOLS_LINUX_NETCDF_H_
