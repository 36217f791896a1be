#include "tools/linux/netcdf.h"

#include <dlfcn.h>

#include <string>

#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

Netcdf Load() {
  void* const library = dlopen(TERVALON_NETCDF, RTLD_NOW | RTLD_LOCAL);
  Netcdf netcdf = {};
  const auto find = [library](const char* name, auto& function) {
    using Function = std::remove_reference_t<decltype(function)>;
    if (library != nullptr) function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) {
      throw Failure(TERVALON_NETCDF,
                    std::string("cannot be loaded, which ANDI files need: ") + dlerror());
    }
  };
  find("nc_create", netcdf.create);
  find("nc_put_att_text", netcdf.put_att_text);
  find("nc_def_var", netcdf.def_var);
  find("nc_def_dim", netcdf.def_dim);
  find("nc_enddef", netcdf.enddef);
  find("nc_put_var_float", netcdf.put_var_float);
  find("nc_close", netcdf.close);
  find("nc_abort", netcdf.abort);
  find("nc_strerror", netcdf.strerror);
  find("nc_inq_libvers", netcdf.inq_libvers);
  return netcdf;
}

}  // namespace

const Netcdf& LoadNetcdf() {
  static const Netcdf kNetcdf = Load();
  return kNetcdf;
}

}  // namespace tervalon::tools
