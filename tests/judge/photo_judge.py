#!/usr/bin/env python3
"""Holds the program's answers about photographs against ExifTool, Exiv2 and jpegtran.

Usage: photo_judge.py (text | roundtrip | turn) PROGRAM PHOTO_OR_FOLDER...

  text       each value of the EXIF text that ExifTool knows too is the same
  roundtrip  what ExifTool and Exiv2 read is the same in a photograph and in what is saved from it
  turn       coefficients turned are those of jpegtran, with and without trim; four turns are none

KESTR_PHOTOS may name one more folder. Exit code 77 when the other programs are not installed.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

# Names of values, from Exif 2.3, in the words that our text has for them.
METERING = ["Unidentified", "Average", "Center Weighted Average", "Spot", "Multi Spot", "Pattern",
            "Partial"]
PROGRAM = ["Unidentified", "Manual", "Program Normal", "Aperture Priority", "Shutter Priority",
           "Program Creative", "Program Action", "Portrait Mode", "Landscape Mode"]
UNITS = ["Invalid", "Invalid", "Inch", "Centimeter"]
STRENGTH = ["Normal", "Soft", "Hard"]
LIGHT = {1: "Daylight", 2: "Fluorescent", 3: "Tungsten", 9: "Fine weather", 10: "Cloudy weather",
         11: "Shade", 17: "Standard Illuminant A", 18: "Standard Illuminant B",
         19: "Standard Illuminant C", 20: "D55 Illuminant", 21: "D65 Illuminant",
         22: "D75 Illuminant", 23: "D50 Illuminant", 24: "ISO studio tungsten"}


def text(ours, theirs):
    return ours.rstrip() == str(theirs).rstrip()


def bare(ours, theirs):
    """Digits that ExifTool parts by blanks or points."""
    return ours == re.sub(r"[ .]", "", str(theirs))


def whole(ours, theirs):
    return ours == str(theirs).split(" ")[0]  # of several values the first is told


def near(ours, theirs):
    return abs(float(ours) - float(theirs)) <= 0.005 + 1e-6 * abs(float(theirs))


def seconds(ours, theirs):
    if float(theirs) == 0:
        return True  # an APEX value out of range, which ExifTool does not work out
    if not ours.startswith("1/"):
        return near(ours, theirs)
    return near(ours[2:], 1 / float(theirs))


def stop(ours, theirs):
    return near(ours.removeprefix("f/"), theirs)


def zoom(ours, theirs):
    return float(theirs) == 0 if ours == "Off" else near(ours, theirs)


def named(names):
    def same(ours, theirs):
        return ours == (names[theirs] if 0 <= theirs < len(names) else str(theirs))
    return same


def numbered(ours, theirs):
    return ours == str(theirs) or ours.endswith(f"({theirs})")


def light(ours, theirs):
    return ours == LIGHT.get(theirs, f"Unidentified ({theirs})")


def flash(shift, mask, names):
    return lambda ours, theirs: ours == names[theirs >> shift & mask]


def angle(ours, theirs):
    degrees, minutes, rest = map(float, ours.split(", "))
    # Minutes may have a fraction, and two decimals of each are told.
    return abs(degrees + minutes / 60 + rest / 3600 - abs(float(theirs))) < 0.005 / 60 + 0.005 / 3600


def clock(ours, theirs):
    hours, minutes, rest = map(float, ours.split(", "))
    h, m, s = map(float, str(theirs).split(":"))
    return (hours, minutes) == (h, m) and abs(rest - s) <= 0.0051


FIELDS = {
    "EXIF Version": ("ExifVersion", text), "Make": ("Make", text), "Model": ("Model", text),
    "Description": ("ImageDescription", text),
    "Color Space": ("ColorSpace", lambda o, t: o == ("sRGB" if t == 1 else "Uncalibrated")),
    "Gamma": ("Gamma", near), "Pixel Columns": ("ExifImageWidth", whole),
    "Pixel Rows": ("ExifImageHeight", whole),
    "Component Configuration": ("ComponentsConfiguration", bare),
    "Compressed Bits Per Pixel": ("CompressedBitsPerPixel", near),
    "YCbCr Positioning": ("YCbCrPositioning", named(["Invalid", "Centered", "Co-sited"])),
    "User Comment": ("UserComment", text), "Related Sound File": ("RelatedSoundFile", text),
    "Date Time": ("ModifyDate", text), "Subsec Time": ("SubSecTime", text),
    "Date Time Original": ("DateTimeOriginal", text),
    "Subsec Time Original": ("SubSecTimeOriginal", text),
    "Date Time Digitized": ("CreateDate", text),
    "Subsec Time Digitized": ("SubSecTimeDigitized", text),
    "Exposure Time": ("ExposureTime", seconds), "Shutter Speed": ("ShutterSpeedValue", seconds),
    "Aperture": ("ApertureValue", stop), "Max Aperture": ("MaxApertureValue", stop),
    "Brightness Value": ("BrightnessValue", near),
    "Exposure Bias": ("ExposureCompensation", near), "Metering Mode": ("MeteringMode", named(METERING)),
    "Light Source": ("LightSource", light),
    "Flash Fired": ("Flash", flash(0, 1, ["No", "Yes"])),
    "Flash Mode": ("Flash", flash(3, 3, ["Unknown", "Fill", "Off", "Auto"])),
    "Flash Function": ("Flash", flash(5, 1, ["Flash present", "No flash function"])),
    "Focal Length (mm)": ("FocalLength", near), "F Number": ("FNumber", near),
    "Exposure Program": ("ExposureProgram", named(PROGRAM)), "ISO Speed": ("ISO", whole),
    "Focal Plane X Resolution": ("FocalPlaneXResolution", near),
    "Focal Plane Y Resolution": ("FocalPlaneYResolution", near),
    "Focal Plane Units": ("FocalPlaneResolutionUnit", named(UNITS)),
    "Exposure Index": ("ExposureIndex", near),
    "Sensing Method": ("SensingMethod", lambda o, t: t != 2 or o == "One chip color area"),
    "File Source": ("FileSource", lambda o, t: t != 3 or o == "DSC"),
    "Scene Type": ("SceneType", whole), "Artist": ("Artist", text),
    "Orientation": ("Orientation", numbered), "X Resolution": ("XResolution", near),
    "Y Resolution": ("YResolution", near), "Resolution Units": ("ResolutionUnit", named(UNITS)),
    "Software": ("Software", text),
    "Custom Rendered": ("CustomRendered", named(["Normal process", "Custom process"])),
    "Exposure Mode": ("ExposureMode", named(["Auto", "Manual", "Auto bracket"])),
    "White Balance": ("WhiteBalance", named(["Auto", "Manual"])),
    "Digital Zoom Ratio": ("DigitalZoomRatio", zoom),
    "Focal Length 35mm": ("FocalLengthIn35mmFormat", whole),
    "Scene Capture Type": ("SceneCaptureType",
                           named(["Standard", "Landscape", "Portrait", "Night scene"])),
    "Gain Control": ("GainControl", named(["None", "Low gain up", "High gain up", "Low gain down",
                                           "High gain down"])),
    "Contrast": ("Contrast", named(STRENGTH)), "Sharpness": ("Sharpness", named(STRENGTH)),
    "Saturation": ("Saturation", named(["Normal", "Low", "High"])),
    "Subject Distance (M)": ("SubjectDistance", near),
    "Subject Distance Range": ("SubjectDistanceRange",
                               named(["Unknown", "Macro", "Close", "Distant"])),
    "Image Unique ID": ("ImageUniqueID", text), "InteropIndex": ("InteropIndex", text),
    "InteropVersion": ("InteropVersion", text), "InteropWidth": ("RelatedImageWidth", whole),
    "InteropHeight": ("RelatedImageHeight", whole), "GPS Version": ("GPSVersionID", bare),
    "GPS Latitude Ref": ("GPSLatitudeRef", text), "GPS Latitude": ("GPSLatitude", angle),
    "GPS Longitude Ref": ("GPSLongitudeRef", text), "GPS Longitude": ("GPSLongitude", angle),
    "Altitude Ref": ("GPSAltitudeRef", named(["Sea level", "Sea level reference"])),
    "GPS Altitude": ("GPSAltitude", near), "GPS Timestamp": ("GPSTimeStamp", clock),
    "GPS Satellites": ("GPSSatellites", text), "GPS Status": ("GPSStatus", text),
    "GPS Degree of Precision": ("GPSDOP", near), "GPS Speed Ref": ("GPSSpeedRef", text),
    "GPS Speed": ("GPSSpeed", near), "GPS Track Ref": ("GPSTrackRef", text),
    "GPS Track": ("GPSTrack", near), "GPS Image Direction Ref": ("GPSImgDirectionRef", text),
    "GPS Image Direction": ("GPSImgDirection", near), "GPS Map Datum": ("GPSMapDatum", text),
    "GPS Destination Bearing": ("GPSDestBearing", near),
    "GPS Destination Distance": ("GPSDestDistance", near), "GPS Date Stamp": ("GPSDateStamp", text),
}


def run(*words, check=True):
    done = subprocess.run([str(w) for w in words], capture_output=True, check=False)
    if check and done.returncode != 0:
        raise RuntimeError(f"{words}: {done.stderr.decode(errors='replace')}")
    return done


def exiftool(photos, *options):
    done = run("exiftool", "-j", "-n", "-struct", "-charset", "exif=Latin", *options, *photos,
               check=False)
    return json.loads(done.stdout or b"[]")


def judge_text(program, photos):
    ours = json.loads(run(program, "info", "--json", *photos, check=False).stdout)
    theirs = {entry["SourceFile"]: entry
              for entry in exiftool(photos, "-G1", "-IFD0:all", "-ExifIFD:all", "-GPS:all",
                                    "-InteropIFD:all")}
    compared = 0
    faults = []
    for photo in ours:
        tags = {}
        for name, value in theirs.get(photo["file"], {}).items():
            tags.setdefault(name.rpartition(":")[2], value)
        for entry in photo.get("camera", []):
            tag, same = FIELDS.get(entry["label"], (None, None))
            value = tags.get(tag)
            if tag is None or value is None or value in ("undef", "inf", ""):
                continue
            compared += 1
            try:
                equal = same(entry["value"], value)
            except (ValueError, TypeError, ZeroDivisionError):
                equal = False
            if not equal:
                faults.append(f"{photo['file']}: {entry['label']}: {entry['value']!r}, {value!r}")
    return compared, faults


# What a saved photograph may differ in: places in the file, the blocks of the encoder and of other
# programs' resources, which are not kept, and fields that every EXIF and IPTC block must have.
PLACES = {"ThumbnailOffset", "PreviewImageStart", "OtherImageStart", "ExifByteOrder",
          "ApplicationRecordVersion", "ExifTag", "GPSTag", "InteroperabilityTag", "JPEGInterchangeFormat",
          "RecordVersion", "Offset", "StripOffsets"}
OTHER_GROUPS = {"", "System", "File", "ExifTool", "JFIF", "JFXX", "Composite", "Photoshop", "Adobe",
                "Ducky", "APP0", "APP12", "GoPro", "RMETA",
                # directories of one maker, to which only a number points
                "MetaIFD", "KodakBordersIFD", "KodakEffectsIFD"}
ADDED = {"ExifVersion", "FlashpixVersion", "ComponentsConfiguration", "ColorSpace",
         "ExifImageWidth", "ExifImageHeight", "PixelXDimension", "PixelYDimension", "XResolution",
         "YResolution", "ResolutionUnit"}


def plain(tags):
    """ExifTool's answer without what speaks of the file instead of the photograph."""
    kept = {}
    for name, value in tags.items():
        group, _, tag = name.rpartition(":")
        if group in OTHER_GROUPS or tag in PLACES:
            continue
        # Fields that stand in the wrong one of the two are put right.
        kept[("EXIF" if group in ("IFD0", "ExifIFD") else group) + ":" + tag] = value
    return kept


def exiv2(photo):
    """Exiv2's lines of EXIF, IPTC and XMP: key and value."""
    lines = run("exiv2", "-q", "-PEIXkv", photo, check=False).stdout.decode("latin-1").split("\n")
    pairs = [line.split(None, 1) for line in lines if line.startswith(("Exif.", "Iptc.", "Xmp."))]
    return {re.sub(r"^Exif\.(Image|Photo)\.", "Exif.", pair[0]): pair[1] if len(pair) > 1 else ""
            for pair in pairs if ".XP" not in pair[0]}  # it names these in one directory only


def survives(name, before, after):
    """Whether a value is what it was; blanks around texts are dropped, empty ones with them."""
    tag = re.split(r"[:.]", name)[-1]
    if tag in PLACES or (before is None and tag in ADDED):
        return True
    if tag in ("ComponentsConfiguration", "MakerNote"):  # filled up to four; an empty one is none
        return str(after or "").startswith(str(before or ""))
    old, new = (str(value if value is not None else "").strip() for value in (before, after))
    return old == new or (tag in ADDED and old.split(" ")[0] == new)


def not_kept(photo, name):
    """What no photograph keeps: a marker of one old camera; IPTC data in several pieces."""
    data = pathlib.Path(photo).read_bytes()
    return (name.startswith("Casio:") and b"QVCI\0" in data or
            re.match(r"IPTC\d*:|Iptc\.", name) and
            (data.count(b"Photoshop 3.0\0") > 1 or data.count(b"8BIM\4\4") > 1))


def judge_roundtrip(program, photos):
    compared = 0
    faults = []
    with tempfile.TemporaryDirectory() as folder:
        for photo in photos:
            saved = pathlib.Path(folder) / "saved.jpg"
            saved.unlink(missing_ok=True)
            if run(program, "convert", photo, saved, check=False).returncode == 1:
                continue  # refused
            for judge, before, after in (
                    ("exiftool", *(plain(exiftool([p], "-G1", "-a", "-u", "-U")[0])
                                   for p in (photo, saved))),
                    ("exiv2", exiv2(photo), exiv2(saved))):
                compared += len(before)
                # Exiv2 names a field that stands in the wrong directory by its number alone.
                names = before.keys() if judge == "exiv2" else before.keys() | after.keys()
                for name in sorted(names):
                    if not survives(name, before.get(name), after.get(name)) and \
                            not not_kept(photo, name):
                        faults.append(f"{photo}: {judge}: {name}: {str(before.get(name))[:60]!r}, "
                                      f"{str(after.get(name))[:60]!r}")
    return compared, faults


def coefficients(data):
    """A JPEG file without what is no part of its picture: application data and comments."""
    at, parts = 2, []
    while at + 4 <= len(data):
        marker, length = data[at + 1], int.from_bytes(data[at + 2:at + 4], "big")
        if marker == 0xDA:
            return b"".join(parts) + data[at:]
        if not (0xE0 <= marker <= 0xEF or marker == 0xFE):
            parts.append(data[at:at + 2 + length])
        at += 2 + length
    return None


TURNS = {"--cw": ("-rotate", "90"), "--ccw": ("-rotate", "270"), "--180": ("-rotate", "180"),
         "--mirror": ("-flip", "horizontal")}


def judge_turn(program, photos):
    compared = 0
    faults = []
    with tempfile.TemporaryDirectory() as folder:
        turned, other = (pathlib.Path(folder) / name for name in ("turned.jpg", "other.jpg"))
        for photo in photos:
            info = json.loads(run(program, "info", "--json", photo, check=False).stdout)[0]
            # Other programs do not search a file for its picture, as Kestr does.
            if info.get("typeId") not in (4, 5) or photo.read_bytes()[:2] != b"\xff\xd8":
                continue
            if info["width"] * info["height"] > 50_000_000:
                continue  # a damaged header, over which the other program would take minutes
            progressive = ["-progressive"] if info["typeId"] == 5 else []
            for ours, theirs in TURNS.items():
                for trim in ([], ["--trim"]):
                    done = run(program, "rotate", ours, *trim, photo, "-o", turned, check=False)
                    theirs_done = run("jpegtran", "-copy", "none", *progressive, *theirs,
                                      *[word[1:] for word in trim], "-outfile", other, photo,
                                      check=False)
                    if theirs_done.returncode not in (0, 2) and done.returncode != 0:
                        continue  # both refuse it
                    compared += 1
                    if done.returncode != 0 or coefficients(turned.read_bytes()) != \
                            coefficients(other.read_bytes()):
                        faults.append(f"{photo}: {ours} {trim}: {done.returncode}")
            if info["width"] % info["mcuWidth"] or info["height"] % info["mcuHeight"] or \
                    run(program, "rotate", "--cw", photo, "-o", turned, check=False).returncode:
                continue
            here = photo
            for _ in range(4):
                run(program, "rotate", "--cw", here, "-o", turned)
                here = turned
            compared += 1
            for path in (photo, turned):
                run("jpegtran", "-copy", "none", "-outfile", other, path, check=False)
                if path == photo:
                    first = coefficients(other.read_bytes())
            if first != coefficients(other.read_bytes()):
                faults.append(f"{photo}: four turns")
    return compared, faults


def main():
    kinds = {"text": judge_text, "roundtrip": judge_roundtrip, "turn": judge_turn}
    judge, program = kinds[sys.argv[1]], sys.argv[2]
    if not all(map(shutil.which, ["exiftool", "exiv2", "jpegtran", "djpeg"])):
        print("exiftool, exiv2 and jpegtran are needed")
        return 77
    photos = []
    for name in sys.argv[3:] + list(filter(None, [os.environ.get("KESTR_PHOTOS")])):
        path = pathlib.Path(name)
        photos += sorted(path.rglob("*.jp*g")) if path.is_dir() else [path]
    compared, faults = judge(program, photos)
    print("\n".join(faults))
    print(f"{len(photos)} photographs, {compared} comparisons, {len(faults)} differences")
    return 1 if faults or not compared else 0


if __name__ == "__main__":
    sys.exit(main())
