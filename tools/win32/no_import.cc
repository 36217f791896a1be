// There is no parser of XML among Debian's packages for Windows.

#include "tools/import/import_run.h"
#include "tools/print/failure.h"

namespace tervalon::tools {

ImportReport ImportRun(const ImportOptions& options) {
  throw Failure(options.file, "the program for Windows cannot read mzML; import it on Linux");
}

}  // namespace tervalon::tools
