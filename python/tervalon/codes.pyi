import enum
from typing import Any

class FunctionType(enum.IntEnum):
    SCAN = 0
    SIR = 1
    DELAY = 2
    CONCATENATED = 3
    OFF = 4
    PARENTS = 5
    DAUGHTERS = 6
    NEUTRAL_LOSS = 7
    NEUTRAL_GAIN = 8
    MRM = 9
    Q1F = 10
    MS2 = 11
    DIODE_ARRAY = 12
    TOF = 13
    TOF_PSD = 14
    TOF_SURVEY = 15
    TOF_DAUGHTER = 16
    MALDI_TOF = 17
    TOF_MS = 18
    TOF_PARENT = 19
    VOLTAGE_SCAN = 20
    MAGNETIC_SCAN = 21
    VOLTAGE_SIR = 22
    MAGNETIC_SIR = 23
    AUTO_DAUGHTERS = 24

class DataType(enum.IntEnum):
    COMPRESSED_CENTROID = 0
    STANDARD_CENTROID = 1
    SIR = 2
    CONTINUUM = 3
    MCA = 4
    MCA_SD = 5
    MCB = 6
    MCB_SD = 7
    MOLECULAR_WEIGHT = 8
    ACCURATE_MASS = 9
    FLOAT = 10
    ENHANCED_SIR = 11
    ENHANCED_MASS = 12

class StepType(enum.IntEnum):
    NONE = 0
    REFINE = 1
    COMBINE = 2
    SMOOTH = 3
    CENTER = 4
    PEAK_TOP = 5
    MODIFY = 6
    TRANSFORM = 7
    DATABASE = 8
    FULL_FILE_REFINE = 9
    FULL_FILE_FILTER = 10
    MAXENT_1 = 11
    SUBTRACT = 12
    MOCK_DATA_1 = 13
    MAXENT_2 = 14
    MOCK_DATA_2 = 15
    ISOTOPE_MODEL = 16
    CONTINUUM_MODEL = 17
    MAXENT_3 = 18
    MOCK_DATA_3 = 19
    ACCURATE_MASS = 20
    COMBINED = 21

class DatabaseType(enum.IntEnum):
    METHOD_FIND = 0
    INTERIM_REPORT = 1
    PEAK_LIST = 2
    METHOD_QUAN = 3
    MS_FUNCTION = 4
    SAMPLES = 5
    TUNE = 6
    QUAN_SAMPLE_LIST = 7
    PEP_MOD = 8
    PEP_ELEMENT = 9
    PROBE = 10
    AUTO_SAMPLER = 11
    GC = 12
    LC = 13
    GC2 = 14
    METHOD = 15
    CURVE = 16
    DIGEST = 17
    NUC_MOD = 18
    PERIODIC_TABLE = 19

def known(family: Any, code: int) -> Any: ...
