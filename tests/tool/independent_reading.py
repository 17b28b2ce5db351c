"""Holds the survey's counts equal to what Python's standard library reads from the same files."""

import base64
import glob
import gzip
import json
import math
import os
import struct
import subprocess
import sys
import xml.etree.ElementTree as ElementTree
import zlib

TYPES = {
    "MS:1000521": ("f", 4),
    "MS:1000523": ("d", 8),
    "MS:1000519": ("i", 4),
    "MS:1000522": ("q", 8),
}


def local(element):
    return element.tag.rsplit("}", 1)[-1]


def params(element, groups):
    """The accession numbers and values of an element, those of its groups included."""
    found = {}
    for child in element:
        if local(child) == "cvParam":
            found[child.get("accession")] = child.get("value")
        elif local(child) == "referenceableParamGroupRef":
            found.update(groups.get(child.get("ref"), {}))
    return found


def values(array, found):
    text = "".join(next(child for child in array if local(child) == "binary").itertext())
    data = base64.b64decode(text)
    if "MS:1000574" in found and data:
        data = zlib.decompress(data)
    letter, width = next(TYPES[term] for term in found if term in TYPES)
    return struct.unpack("<%d%s" % (len(data) // width, letter), data)


def read(path):
    opened = gzip.open(path) if path.endswith(".gz") else open(path, "rb")
    with opened as file:
        root = ElementTree.parse(file).getroot()
    groups = {
        group.get("id"): params(group, {})
        for group in root.iter()
        if local(group) == "referenceableParamGroup"
    }
    run = {
        "spectra": 0,
        "points": 0,
        "longestSpectrum": 0,
        "profileSpectra": 0,
        "centroidSpectra": 0,
        "chromatograms": 0,
        "float32Intensities": 0,
        "ordinaryMz": 0,
        "noNegativeZero": 0,
        "largestRounding": 0.0,
    }
    for element in root.iter():
        if local(element) == "chromatogram":
            run["chromatograms"] += 1
        if local(element) != "spectrum":
            continue
        found = params(element, groups)
        run["profileSpectra"] += "MS:1000128" in found
        run["centroidSpectra"] += "MS:1000127" in found
        x, y = (), ()
        for array in element.iter():
            if local(array) != "binaryDataArray":
                continue
            described = params(array, groups)
            if "MS:1000514" in described:
                x = values(array, described)
            elif "MS:1000515" in described:
                y = values(array, described)
        assert len(x) == len(y)
        run["spectra"] += 1
        run["points"] += len(x)
        run["longestSpectrum"] = max(run["longestSpectrum"], len(x))
        rounded = [struct.unpack("f", struct.pack("f", value))[0] for value in y]
        run["float32Intensities"] += list(y) == rounded
        run["largestRounding"] = max(
            [run["largestRounding"]] + [abs(a - b) for a, b in zip(y, rounded)]
        )
        run["noNegativeZero"] += not any(v == 0 and math.copysign(1, v) < 0 for v in y)
        signs = {math.copysign(1, value) for value in x}
        run["ordinaryMz"] += not x or (len(signs) == 1 and len(set(x)) > 1)
    return run


def compare(path, survey, run, problems):
    def expect(what, got, wanted):
        if got != wanted:
            problems.append(f"{os.path.basename(path)}: {what}: {got}, independently {wanted}")

    for key in ("spectra", "points", "longestSpectrum", "profileSpectra", "centroidSpectra", "chromatograms"):
        expect(key, survey[key], run[key])
    for method in survey["methods"]:
        name = method["method"]
        mz, intensities = method["exactMzSpectra"], method["exactIntensitySpectra"]
        if name == "interleaved_double_double":
            expect(name, (mz, intensities), (run["spectra"], run["spectra"]))
            expect(name + " bytes", method["encodedBytes"], 16 * run["points"])
            continue
        expect(name + " change", method["largestIntensityChange"], run["largestRounding"])
        if name == "planar_double_float":
            expect(name, (mz, intensities), (run["spectra"], run["float32Intensities"]))
            expect(name + " bytes", method["encodedBytes"], 12 * run["points"])
        elif run["noNegativeZero"] == run["spectra"]:
            expect(name + " intensities", intensities, run["float32Intensities"])
            if mz < run["ordinaryMz"]:
                expect(name + " m/z", mz, run["ordinaryMz"])


def main(tool):
    folder = os.environ.get("KYV_DATA_DIR", "")
    paths = sorted(glob.glob(os.path.join(folder, "*.mzML")) + glob.glob(os.path.join(folder, "*.mzML.gz")))
    if not folder or not paths:
        print("KYV_DATA_DIR names no folder with runs; it would add real files to this test")
        return 77
    output = subprocess.run(
        [tool, "survey", "--json", "--repeat", "1", *paths], check=True, capture_output=True
    ).stdout
    problems = []
    files = json.loads(output)["files"]
    assert [file["file"] for file in files] == paths
    for path, survey in zip(paths, files):
        run = read(path)
        print(f"{os.path.basename(path)}: {run['spectra']} spectra, {run['points']} points")
        compare(path, survey, run, problems)
    print("\n".join(problems) if problems else f"{len(paths)} files agree")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
