// All public headers.

#ifndef TESTS_CALLERS_EXPORTS_H_
#define TESTS_CALLERS_EXPORTS_H_

#include "tervalon/application.h"
#include "tervalon/axes.h"
#include "tervalon/coordinate_systems.h"
#include "tervalon/data_handles.h"
#include "tervalon/database_descriptor.h"
#include "tervalon/database_fields.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tervalon/desktop.h"
#include "tervalon/drawing.h"
#include "tervalon/function_types.h"
#include "tervalon/linearisation.h"
#include "tervalon/magnification.h"
#include "tervalon/memory.h"
#include "tervalon/messages.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/number_format.h"
#include "tervalon/paths.h"
#include "tervalon/plot_resources.h"
#include "tervalon/processing.h"
#include "tervalon/processing_peaks.h"
#include "tervalon/processing_spectra.h"
#include "tervalon/projects.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_calibration.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tervalon/raw_spectra.h"
#include "tervalon/result_codes.h"
#include "tervalon/retention_indices.h"
#include "tervalon/settings.h"
#include "tervalon/trace_strings.h"
#include "tervalon/types.h"
#include "tervalon/version.h"
#include "tervalon/window_placement.h"
#if !defined(_WIN32)
#include "tervalon/drawing_devices.h"
#endif

#endif  // TESTS_CALLERS_EXPORTS_H_
