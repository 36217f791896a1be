"""Writes an mzML file whose spectra are at the edge of what a plot can show; argument: its name."""

import base64
import math
import random
import struct
import sys


def array(values, accession):
    data = base64.b64encode(struct.pack(f"<{len(values)}d", *values)).decode()
    return (f'<binaryDataArray encodedLength="{len(data)}">'
            '<cvParam cvRef="MS" accession="MS:1000523" name="64-bit float"/>'
            '<cvParam cvRef="MS" accession="MS:1000576" name="no compression"/>'
            f'<cvParam cvRef="MS" accession="{accession}" name="array"/>'
            f'<binary>{data}</binary></binaryDataArray>')


def spectrum(index, points):
    masses, intensities = [p[0] for p in points], [p[1] for p in points]
    return (f'<spectrum index="{index}" id="scan={index + 1}" defaultArrayLength="{len(points)}">'
            '<cvParam cvRef="MS" accession="MS:1000511" name="ms level" value="1"/>'
            '<cvParam cvRef="MS" accession="MS:1000127" name="centroid spectrum"/>'
            '<cvParam cvRef="MS" accession="MS:1000130" name="positive scan"/>'
            '<scanList count="1"><scan><cvParam cvRef="MS" accession="MS:1000016" name="time" '
            f'value="{0.1 * (index + 1)}" unitAccession="UO:0000031"/></scan></scanList>'
            '<binaryDataArrayList count="2">' + array(masses, "MS:1000514")
            + array(intensities, "MS:1000515") + '</binaryDataArrayList></spectrum>\n')


chance = random.Random(5)
peaks = sorted((chance.uniform(100, 900), chance.expovariate(1) ** 3 * 1000) for _ in range(400))
profile = [(400 + i / 20, 1000 * sum(h * math.exp(-((400 + i / 20 - m) / 0.15) ** 2)
                                     for m, h in ((401, 1), (402, 0.6), (403, 0.2))) + 1)
           for i in range(100)]
spectra = [[], [(455.29, 1200)], [(100 + 7 * i, 1e12 * math.sin(i) ** 2 + 1) for i in range(60)],
           [(100 + 7 * i, 4e-4 * math.sin(i) ** 2 + 1e-6) for i in range(60)], peaks, profile]
with open(sys.argv[1], "w", encoding="utf-8") as file:
    file.write('<?xml version="1.0"?><mzML version="1.1.0"><run id="edges">'
               f'<spectrumList count="{len(spectra)}">\n'
               + "".join(spectrum(i, points) for i, points in enumerate(spectra))
               + '</spectrumList></run></mzML>\n')
