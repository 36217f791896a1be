// The records of the twenty database types as programs see them: what DB3ReadRecord fills and
// DB3UpdateRecord and DB3InsertRecord write.
//
// The members follow the fields of the type in the order of the file
// (docs/record_database_fields.md lists both side by side); the version, the first field of every
// type, is none of them:
//
//  - a text is an array of its field's width without a terminating zero. It reads with the blanks
//    that fill the field; when written, it ends at its first zero;
//  - a number with decimals is a double or a float, one without an int32_t;
//  - a logical is an int32_t that is 0 or 1.
//
// Two of the structures leave fields out and two hold only the beginning of a text. An update
// leaves what a structure does not hold as it stands in the file, and any field that already says
// what its member does: a number that reads as exactly the member's value, a text that begins with
// the member. Otherwise it writes the field whole. In a new record, fields without a member are
// blank, logical ones "F".
//
// Alignment is natural: a double stands at a multiple of 8 on every platform. `reserved` is zero.

#ifndef TERVALON_DATABASE_RECORDS_H_
#define TERVALON_DATABASE_RECORDS_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// The database types.
enum {
  DB3_METHOD_FIND = 0,
  DB3_INTERIM_REPORT = 1,
  DB3_PEAK_LIST = 2,
  DB3_METHOD_QUAN = 3,
  DB3_MS_FUNCTION = 4,
  DB3_SAMPLES = 5,
  DB3_TUNE = 6,
  DB3_QUAN_SAMPLE_LIST = 7,
  DB3_PEP_MOD = 8,
  DB3_PEP_ELEMENT = 9,
  DB3_PROBE = 10,
  DB3_AUTO_SAMPLER = 11,
  DB3_GC = 12,
  DB3_LC = 13,
  DB3_GC2 = 14,
  DB3_METHOD = 15,
  DB3_CURVE = 16,
  DB3_DIGEST = 17,
  DB3_NUC_MOD = 18,
  DB3_PERIODIC_TABLE = 19
};

// One step of a temperature programme of type 12. 32 bytes.
typedef struct DB3Ramp {
  double time, hold, value;
  char action[1];
} DB3Ramp;

// A timed event of type 12. 16 bytes.
typedef struct DB3Event {
  double start, finish;
} DB3Event;

// Type 0, "Unified Method (Find)": what finds a peak. Fields of the quantification are not in it.
// 704 bytes.
typedef struct DB3MethodFind {
  char name[30];
  char cas_number[12];
  char text[30];
  char report_units[15];
  double user_value_1, user_value_2;
  char flags[8];
  double chromatogram_window_absolute, chromatogram_window_ppm;
  int32_t chromatogram_window_type, chromatogram_noise, match_threshold, forward_threshold;
  int32_t reverse_threshold, area_threshold, height_threshold;
  char locate_by[4];
  double predicted_time, predicted_relative_time, time_window;
  int32_t relative_time_reference;
  double predicted_response, response_window;
  char location_choice[1];
  int32_t intensity_sum;
  char peaks[50][9];
  double integration_window, mass_window, start_time, end_time;
} DB3MethodFind;

// Type 1, "Interim Report". 152 bytes.
typedef struct DB3InterimReport {
  int32_t match, forward, reverse, delta_scan;
  double area;
  char peak_flags[4];
  int32_t found_scan, predicted_scan;
  char quan_trace[80];
  char name[30];
} DB3InterimReport;

// Type 2, "Peak List". 1944 bytes.
typedef struct DB3PeakList {
  char raw_name[254];
  char raw_date[9];
  char raw_time[8];
  char method_name[254];
  char method_date[9];
  char method_time[8];
  int32_t method_entry, method_peak, method_peak_id;
  char curve_database_name[254];
  char curve_database_date[9];
  char curve_database_time[8];
  char name[30];
  char cas_number[12];
  char text[30];
  char report_units[15];
  char sample_id[50];
  double user_value_1, user_value_2;
  char flags[8];
  int32_t excluded_standard;
  char modified_date[9];
  char modified_time[8];
  char modified_user[16];
  char modified_text[80];
  int32_t raw_function;
  char quan_trace[80];
  double chromatogram_window;
  int32_t chromatogram_window_type, chromatogram_noise, smooth_enabled, smooth_method;
  int32_t smooth_iterations, smooth_width;
  double peak_balance, peak_split;
  int32_t peak_shoulder;
  double peak_shoulder_threshold, peak_reduce, peak_max_reduce;
  int32_t peak_threshold;
  double peak_area_relative;
  int32_t peak_area_absolute;
  double peak_height_relative;
  int32_t peak_height_absolute;
  double peak_start_range, peak_end_range, peak_extra_window;
  int32_t match_threshold, forward_threshold, reverse_threshold, area_threshold, height_threshold;
  char locate_by[4];
  double predicted_time, predicted_relative_time, time_window;
  int32_t relative_time_reference;
  double predicted_response, response_window;
  char location_choice[1];
  char response_area_or_height[1];
  char response_calculation[6];
  int32_t response_reference;
  double response_subtract_x, response_subtract_y, initial_amount, extraction_volume;
  double injection_volume, dilution_factor, group_factor, stock_factor, standard_concentration;
  char standard_levels[5];
  char curve_calculation[6];
  char xy_transform[1];
  char zero_response[1];
  char origin[1];
  char weighting_function[9];
  int32_t min_area, min_height;
  double detection_threshold, quantification_threshold, linearity_limit, cut_off_threshold;
  double correlation_threshold, ion_ratio;
  int32_t ion_ratio_window, ion_ratio_reference;
  double user_ratio;
  int32_t use_user_response_factor;
  char peak_flags[4];
  int32_t min_area_flag, min_height_flag, detection_flag, quantification_flag, linearity_flag;
  int32_t cut_off_flag, min_correlation_flag, ion_ratio_window_flag, no_standard_flag, match;
  int32_t forward, reverse, predicted_scan, found_scan, delta_scan, start_scan, end_scan;
  double found_time, found_relative_time, start_time, end_time, start_height, end_height, area;
  int32_t height;
  double actual_ion_ratio, absolute_response, response, fixed_concentration, analysed_concentration;
  int32_t valid_concentration, method_integration, method_integrated_peak;
  double peak_mass;
  int32_t blank_flag;
  double blank_subtracted_concentration, blank_concentration;
  int32_t secondary_peaks, secondary_height;
  double secondary_area;
  int32_t totals_flag, totals_under, totals_peaks;
  char totals_group[40];
  int32_t totals_include;
  double standard_deviation, relative_standard_deviation;
  uint8_t reserved[24];
} DB3PeakList;

// Type 3, "Unified Method (Quan)": what quantifies a peak. Fields of finding it are not in it. 400
// bytes.
typedef struct DB3MethodQuan {
  char name[30];
  char cas_number[12];
  char text[30];
  char report_units[15];
  double user_value_1, user_value_2;
  char flags[8];
  double predicted_response, response_window;
  char location_choice[1];
  char response_area_or_height[1];
  char response_calculation[6];
  int32_t response_reference;
  double response_subtract_x, response_subtract_y, standard_concentration;
  char standard_levels[5];
  char curve_calculation[6];
  char xy_transform[1];
  char zero_response[1];
  char origin[1];
  char weighting_function[9];
  int32_t min_area, min_height;
  double detection_threshold, quantification_threshold, linearity_limit, cut_off_threshold;
  double correlation_threshold, ion_ratio;
  int32_t ion_ratio_window, ion_ratio_reference;
  double user_ratio;
  int32_t use_user_response_factor, totals_include, totals_calculation;
  char totals_group[40];
  int32_t report_in_summary, report_in_sample, atomic_number, ratio_top, ratio_bottom;
  double ratio_value, locate_mass;
  int32_t major;
  double time_slip;
  double craig[3];
  uint8_t reserved[8];
} DB3MethodQuan;

// Type 4, "MS Function". 3620 bytes.
typedef struct DB3MSFunction {
  int32_t function_type;
  float set_mass, start_mass, end_mass, scan_time, inter_scan_time;
  int32_t continuum;
  char repeats[4][1];
  int32_t ion_mode;
  float centroid, start_time, end_time;
  int32_t channel_count;
  float inter_channel_delay;
  char channels[4][80];
  char compounds[32][100];
  int32_t channel_numbers[4];
  float solvent_delay, ap_solvent_delay, ap_probe, ap_probe_time, auto_msms, mca_scans, auto_mass;
} DB3MSFunction;

// Type 5, "Samples". 2894 bytes.
typedef struct DB3Sample {
  char file_name[13];
  char file_text[80];
  char ms_file[13];
  char inlet_file[13];
  char auto_sampler_file[13];
  char epal_file[13];
  char macro_parameters[13];
  char bottle[20];
  char job[8];
  char task[8];
  char user[16];
  char submitter[19];
  char conditions[40];
  char type[12];
  char id[15];
  char concentrations[20][30];
  char injection_volume[16];
  char stock_dilution[16];
  char initial_amount[16];
  char extraction_volume[16];
  char extraction_dilution[16];
  char user_dilution[16];
  char spares[5][16];
  uint8_t reserved[1822];
} DB3Sample;

// Type 6, "Tune". 380 bytes.
typedef struct DB3Tune {
  int32_t source_temperature, electron_energy;
  float repeller;
  int32_t emission;
  float ci_slit, gun_heater, gun_anode, gun_focus, block;
  int32_t gun_probe, thermospray_discharge, thermospray_probe, electrospray, api;
  float electrospray_capillary, electrospray_hv_lens;
  int32_t electrospray_focus_1, electrospray_focus_2;
  int32_t lens_1_to_4[4];
  float low_mass_resolution_1, high_mass_resolution_1, energy_filter;
  int32_t lens_5, lens_6;
  float ion_energy_1, ion_energy_ramp_1;
  int32_t intermediate_multiplier;
  float low_mass_resolution_2, high_mass_resolution_2, collision_energy;
  int32_t lens_7_to_9[3];
  float ion_energy_2, ion_energy_ramp_2;
  int32_t final_multiplier, grid, fill, normalize, response;
  float scan_time, inter_scan_time;
  float masses[4];
  int32_t functions[4];
  float set_masses[4];
  int32_t spans[4];
  int32_t gains[4];
  int32_t statuses[4];
  int32_t gc_temperature, probe_temperature, link_temperature, dci_current, sfc_temperature;
  int32_t auxiliary_temperature, reference_gas, pump_probe, pump_ci, pump_reference;
  int32_t ci_valves[3];
  int32_t esi_1, esi_2, ion_used;
  float spares[10];
} DB3Tune;

// Type 7, "Quan Sample List". 192 bytes.
typedef struct DB3QuanSample {
  char peak_list_name[8];
  char peak_list_date[9];
  char peak_list_time[8];
  int32_t peak_list_entries;
  char peak_list_type[1];
  int32_t status, error_entry;
  double weighting;
  double concentration_sets[5];
  uint8_t reserved[96];
} DB3QuanSample;

// Type 8, "Pep Mod". 216 bytes.
typedef struct DB3PepMod {
  char name[100];
  char symbol[50];
  char formula[50];
  double average_mass, monoisotopic_mass;
} DB3PepMod;

// Type 9, "Pep elem". 16 bytes.
typedef struct DB3PepElement {
  double average_mass, monoisotopic_mass;
} DB3PepElement;

// Type 10, "Probe". 216 bytes.
typedef struct DB3Probe {
  int32_t max_value, max_time, tic_max, tic_min, tic_finish;
  char tic_control[1];
  char external_control[1];
  char store_data[1];
  double time_1, hold_1, value_1;
  char action_1[1];
  double time_2, hold_2, value_2;
  char action_2[1];
  double time_3, hold_3, value_3;
  char action_3[1];
  double time_4, hold_4, value_4;
  char action_4[1];
  double time_5, hold_5, value_5;
  char action_5[1];
  uint8_t reserved[39];
} DB3Probe;

// Type 11, "Auto sampler". 152 bytes.
typedef struct DB3AutoSampler {
  char type[12];
  double sample_volume, air_volume, injection_delay, injection_speed, pull_out_delay;
  int32_t sample_pull_ups;
  double sample_speed, pull_up_delay, pull_up_volume;
  int32_t before_injection, after_injection;
  char in_out[1];
  int32_t sample_cleans;
  char solvent_tsb[1];
  int32_t solvent_tsb_cycles;
  char solvent_isb[1];
  int32_t solvent_isb_cycles;
  char solvent_tsa[1];
  int32_t solvent_tsa_cycles;
  char solvent_isa[1];
  int32_t solvent_isa_cycles;
  uint8_t reserved[16];
} DB3AutoSampler;

// Type 12, "GC". 296 bytes.
typedef struct DB3GC {
  double max_value, max_time;
  char standby[1];
  double standby_time;
  char time_5[1];
  double time_5_time;
  double zone_temperatures[3];
  char dump_valve[1];
  double purge_time, split_time, secondary_cooling;
  DB3Event events[4];
  DB3Ramp ramps[4];
} DB3GC;

// Type 13, "LC". 4 bytes.
typedef struct DB3LC {
  char external_control[1];
  uint8_t reserved[3];
} DB3LC;

// Type 14, "GC2". 2456 bytes.
typedef struct DB3GC2 {
  char type[10];
  char temperature_units[16];
  char pressure_units[16];
  int32_t standby;
  double standby_time;
  char oven_ramps[4][23];
  int32_t time_5;
  double time_5_time;
  int32_t cryo_active;
  double ambient, max_oven;
  int32_t cryo_blast;
  double cryo_time;
  int32_t auxiliary_active;
  char auxiliary_temperature[23];
  int32_t dump_valve, injector_1_active;
  char injector_1_type[16];
  int32_t injector_1_programmed, injector_1_track;
  char injector_1_temperature_ramps[4][23];
  char injector_1_pressure_ramps[4][23];
  int32_t injector_2_active;
  char injector_2_type[16];
  int32_t injector_2_programmed, injector_2_track;
  char injector_2_temperature_ramps[4][23];
  char injector_2_pressure_ramps[4][23];
  int32_t detector_1_active;
  char detector_1_type[16];
  char detector_1_injector[16];
  int32_t detector_1_temperature_active;
  double detector_1_temperature;
  int32_t detector_1_polarity, detector_1_sensitivity;
  double detector_1_time, detector_1_gain;
  int32_t detector_2_active;
  char detector_2_type[16];
  char detector_2_injector[16];
  int32_t detector_2_temperature_active;
  double detector_2_temperature;
  int32_t detector_2_polarity, detector_2_sensitivity;
  double detector_2_time, detector_2_gain;
  int32_t signal_1_active, signal_1_type, signal_1_zero_active;
  double signal_1_zero;
  int32_t signal_1_range, signal_1_attenuation, signal_2_active, signal_2_type;
  int32_t signal_2_zero_active;
  double signal_2_zero;
  int32_t signal_2_range, signal_2_attenuation;
  char events[10][46];
  int32_t left_mode, left_flow_standby;
  double left_flow_standby_value;
  int32_t left_flow_sample;
  double left_flow_sample_value;
  char left_flow_ramps[5][23];
  int32_t left_pressure_standby;
  double left_pressure_standby_value;
  int32_t left_pressure_sample;
  double left_pressure_sample_value;
  char left_pressure_ramps[5][23];
  int32_t right_mode, right_flow_standby;
  double right_flow_standby_value;
  int32_t right_flow_sample;
  double right_flow_sample_value;
  char right_flow_ramps[5][23];
  int32_t right_pressure_standby;
  double right_pressure_standby_value;
  int32_t right_pressure_sample;
  double right_pressure_sample_value;
  char right_pressure_ramps[5][23];
  uint8_t reserved[536];
} DB3GC2;

// Type 15, "Unified Method": every field. Numbers with decimals are floats, those of 19 characters
// doubles. 1176 bytes.
typedef struct DB3Method {
  char name[30];
  char cas_number[12];
  char text[30];
  char report_units[15];
  double user_value_1, user_value_2;
  char flags[8];
  int32_t raw_function;
  char quan_trace[80];
  float chromatogram_window_absolute, chromatogram_window_ppm;
  int32_t chromatogram_window_type, chromatogram_noise, smooth_enabled, smooth_method;
  int32_t smooth_iterations, smooth_width;
  float peak_balance, peak_split;
  int32_t peak_shoulder;
  float peak_shoulder_threshold, peak_reduce, peak_max_reduce;
  int32_t peak_threshold;
  float peak_area_relative;
  int32_t peak_area_absolute;
  float peak_height_relative;
  int32_t peak_height_absolute;
  float peak_extra_window;
  int32_t match_threshold, forward_threshold, reverse_threshold, area_threshold, height_threshold;
  char locate_by[4];
  float predicted_time, predicted_relative_time, time_window;
  int32_t relative_time_reference;
  double predicted_response, response_window;
  char location_choice[1];
  char response_area_or_height[1];
  char response_calculation[6];
  int32_t response_reference;
  double response_subtract_x, response_subtract_y, standard_concentration;
  char standard_levels[5];
  char curve_calculation[6];
  char xy_transform[1];
  char zero_response[1];
  char origin[1];
  char weighting_function[9];
  int32_t min_area, min_height;
  double detection_threshold, quantification_threshold, linearity_limit, cut_off_threshold;
  float correlation_threshold, ion_ratio;
  int32_t ion_ratio_window, ion_ratio_reference;
  double user_ratio;
  int32_t intensity_sum;
  char peaks[50][9];
  int32_t propagate_integration, propagate_general, propagate_secondary, use_user_response_factor;
  float integration_window, mass_window, start_time, end_time;
  int32_t use_all;
  char secondary_trace[80];
  float secondary_time_window;
  int32_t secondary_response, secondary_exists, secondary_ratio, totals_include, totals_calculation;
  char totals_group[40];
  int32_t report_in_summary, report_in_sample, atomic_number, ratio_top, ratio_bottom;
  double ratio_value, locate_mass;
  int32_t major;
  double time_slip;
  double craig[3];
} DB3Method;

// Type 16, "Curve". A peak list is the first 125 characters of its field of 145. 19344 bytes.
typedef struct DB3Curve {
  char method_file[145];
  char name[30];
  char cas_number[12];
  char text[30];
  char report_units[15];
  double user_value_1, user_value_2;
  char flags[8];
  char response_area_or_height[1];
  char response_calculation[6];
  int32_t response_reference;
  char curve_calculation[6];
  char xy_transform[1];
  char zero_response[1];
  char origin[1];
  char weighting_function[9];
  int32_t min_area, min_height;
  double detection_threshold, quantification_threshold, linearity_limit, cut_off_threshold;
  double correlation_threshold, ion_ratio;
  int32_t ion_ratio_window, ion_ratio_reference;
  double user_ratio;
  char points_valid[1];
  int32_t point_count;
  char peak_lists[100][125];
  char calibration_points[100][62];
  double mean_time, mean_width, min_response, max_response, mean_response, mean_relative_response;
  double min_concentration, max_concentration, mean_concentration, mean_relative_concentration;
  double correlation_coefficient;
  int32_t min_correlation_flag;
  double mean_residual, mean_square_error, standard_deviation, relative_deviation;
  double percent_relative_deviation;
  char coefficients_valid[1];
  char curve_coefficients[133];
} DB3Curve;

// Type 17, "Digest". 68 bytes.
typedef struct DB3Digest {
  char name[20];
  char symbol[2];
  char parameter[21];
  char cleavage[21];
  int32_t secondary_parameter;
} DB3Digest;

// Type 18, "Nuc Mod". The name is the first 60 characters of its field of 100. 176 bytes.
typedef struct DB3NucMod {
  char name[60];
  char symbol[50];
  char formula[50];
  double average_mass, monoisotopic_mass;
} DB3NucMod;

// Type 19, the periodic table. 1024 bytes.
typedef struct DB3Element {
  int32_t atomic_number;
  char name[20];
  char symbol[3];
  int32_t defined, relative_atomic_mass;
  char equation[100];
  char calibration_file[24];
  char notebook[24];
  int32_t group;
  double dwell_time, focus_volts;
  double element_factors[3];
  int32_t isotope_count;
  // The isotopes.
  double mass_1, relative_abundance_1, factor_1_1, factor_2_1, factor_3_1;
  int32_t selected_1;
  double mass_2, relative_abundance_2, factor_1_2, factor_2_2, factor_3_2;
  int32_t selected_2;
  double mass_3, relative_abundance_3, factor_1_3, factor_2_3, factor_3_3;
  int32_t selected_3;
  double mass_4, relative_abundance_4, factor_1_4, factor_2_4, factor_3_4;
  int32_t selected_4;
  double mass_5, relative_abundance_5, factor_1_5, factor_2_5, factor_3_5;
  int32_t selected_5;
  double mass_6, relative_abundance_6, factor_1_6, factor_2_6, factor_3_6;
  int32_t selected_6;
  double mass_7, relative_abundance_7, factor_1_7, factor_2_7, factor_3_7;
  int32_t selected_7;
  double mass_8, relative_abundance_8, factor_1_8, factor_2_8, factor_3_8;
  int32_t selected_8;
  double mass_9, relative_abundance_9, factor_1_9, factor_2_9, factor_3_9;
  int32_t selected_9;
  double mass_10, relative_abundance_10, factor_1_10, factor_2_10, factor_3_10;
  int32_t selected_10;
  int32_t interference_count;
  // The interferences.
  char label_1[10];
  double labelled_mass_1, interfering_mass_1, correction_1;
  int32_t correct_1;
  char label_2[10];
  double labelled_mass_2, interfering_mass_2, correction_2;
  int32_t correct_2;
  char label_3[10];
  double labelled_mass_3, interfering_mass_3, correction_3;
  int32_t correct_3;
  char label_4[10];
  double labelled_mass_4, interfering_mass_4, correction_4;
  int32_t correct_4;
  uint8_t reserved[140];
} DB3Element;

TERVALON_END_DECLS

#endif  // TERVALON_DATABASE_RECORDS_H_
