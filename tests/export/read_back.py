#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""read_back.py QVX QUORIVEX: makes a run, exports it, and reads every file back with the readers of
other programs. What is expected comes from the run's text files and from the mesh below."""

import csv
import html.parser
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

import netCDF4
import numpy as np
from vtkmodules.vtkIOXML import vtkXMLPolyDataReader, vtkXMLRectilinearGridReader

QVX, QUORIVEX = sys.argv[1:3]

# Counts and widths differ along all axes: nothing fits when it is transposed or mirrored.
WIDTHS = [60, 40, 25, 25, 25, 25, 70], [50, 20, 20, 20, 80], [10, 15, 20, 30, 40, 60]
EAST, NORTH, TOP = 512000.0, 6700000.0, 340.0
CORE = slice(2, 6), slice(1, 4)


def nodes():
    """Faces of the cells along easting, northing and elevation, each rising."""
    e, n, z = (np.concatenate([[0], np.cumsum(w)]) for w in WIDTHS)
    return EAST + e, NORTH + n, (TOP - z)[::-1]


def ground(e, n):
    """A plane that falls from the south-west (337 m) to the north-east, more along easting."""
    return 337.0 - 0.10 * (e - EAST) - 0.05 * (n - NORTH)


def make_run(folder):
    """Synthetic data of one block, sensitivities and an inversion."""
    e, n, _ = nodes()
    text = ["7 5 6", f"{EAST} {NORTH} {TOP}"] + [" ".join(map(str, w)) for w in WIDTHS]
    (folder / "mesh.txt").write_text("\n".join(text) + "\n")
    corners = [(x, y) for x in (e[0] - 50, e[-1] + 50) for y in (n[0] - 50, n[-1] + 50)]
    (folder / "terrain.txt").write_text(
        "4\n" + "".join(f"{x} {y} {ground(x, y)}\n" for x, y in corners))
    stations = [(x, y) for y in np.arange(n[0] + 27, n[-1], 21)
                for x in np.arange(e[0] + 63, e[-1], 23)]
    (folder / "stations.txt").write_text(
        f"65 12 52000\n65 12 1\n{len(stations)}\n"
        + "".join(f"{x} {y} {ground(x, y) + 20}\n" for x, y in stations))
    model = np.zeros((5, 7, 6))
    model[1:3, 3:5, 2:4] = 0.08
    (folder / "true.txt").write_text("\n".join(map(str, model.ravel())))
    (folder / "run.inp").write_text(
        "1\n1 0.02\nobs.mag\ns.mtx\nVALUE 0.001\nVALUE 0\nnull\nVALUE 0\nVALUE 1\nnull\n"
        "SMOOTH_MOD\nnull\n")
    terrain = ["--mesh", "mesh.txt", "--topography", "terrain.txt"]
    for command in (
            [QVX, "forward", *terrain, "--data", "stations.txt", "--model", "true.txt",
             "--noise-floor", "1", "--output", "obs.mag"],
            [QVX, "sensitivity", *terrain, "--data", "obs.mag", "--output", "s.mtx"],
            [QUORIVEX, "run.inp", "1"]):
        subprocess.run(command, cwd=folder, check=True, capture_output=True, timeout=120)


def model_of(folder, number):
    """Susceptibilities [easting, northing, elevation] from the text file; NaN in air."""
    values = np.loadtxt(folder / f"quorivex_{number:03}.sus").reshape(5, 7, 6)
    values[values == -100] = np.nan
    return values.transpose(1, 0, 2)[:, :, ::-1]


def data_of(folder, number):
    """Columns of the observations and the predicted values of an iteration, from the text files."""
    lines = (folder / "obs.mag").read_text().splitlines()[3:]
    observed = np.array([line.split()[:5] for line in lines], dtype=float)
    lines = (folder / f"quorivex_{number:03}.pre").read_text().splitlines()[3:]
    return observed, np.array([line.split()[3] for line in lines], dtype=float)


def read_vtk(reader, path):
    reader.SetFileName(str(path))
    reader.Update()
    return reader.GetOutput()


def bounds_of(grid, cell):
    bounds = [0.0] * 6
    grid.GetCellBounds(cell, bounds)
    return bounds


def rows_of(path):
    with open(path, newline="") as file:
        return list(csv.DictReader(file))


class Page(html.parser.HTMLParser):
    """Names of the elements of a page with those of their attributes, and all of its text."""

    def __init__(self, path):
        super().__init__()
        self.elements = set()
        self.text = ""
        self.feed(path.read_text())

    def handle_starttag(self, tag, attrs):
        self.elements.add((tag, " ".join(name for name, _ in attrs)))

    def handle_data(self, data):
        self.text += data


class ReadBack(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory()
        cls.folder = pathlib.Path(cls.scratch.name)
        make_run(cls.folder)
        cls.last = len(list(cls.folder.glob("quorivex_*.sus")))

    @classmethod
    def tearDownClass(cls):
        cls.scratch.cleanup()

    def export(self, *options, status=0, cwd=None):
        run = subprocess.run([QVX, "export", *options], cwd=cwd or self.folder, timeout=120,
                             capture_output=True, text=True)
        self.assertEqual(run.returncode, status, run.stderr)
        return run.stdout if status == 0 else run.stderr

    def check_vtr(self, path, expected, faces):
        """Cell by cell: where VTK has it, its value, and whether it is shown."""
        grid = read_vtk(vtkXMLRectilinearGridReader(), path)
        self.assertEqual(grid.GetNumberOfCells(), expected.size)
        values = grid.GetCellData().GetArray("susceptibility")
        for cell in range(expected.size):
            bounds = np.array(bounds_of(grid, cell)).reshape(3, 2)
            at = tuple(np.searchsorted(f, b.mean()) - 1 for f, b in zip(faces, bounds))
            np.testing.assert_allclose([f[i:i + 2] for f, i in zip(faces, at)], bounds, rtol=1e-12)
            self.assertEqual(grid.IsCellVisible(cell), not np.isnan(expected[at]), at)
            self.assertEqual(np.float32(values.GetValue(cell)),
                             np.float32(np.nan_to_num(expected[at])), at)
        return grid

    def test_iterations_differ(self):
        """Otherwise the wrong iteration could not be told."""
        self.assertGreater(self.last, 2)
        first, last = model_of(self.folder, 1), model_of(self.folder, self.last)
        self.assertGreater(np.nanmax(np.abs(last - first)), 0.001)
        self.assertGreater(np.isnan(last).sum(), 20)


    def test_vtr_of_all_iterations(self):
        self.export("run.inp", "--iteration", "all", "--vtr", "m & m.vtr", "--points", "m & m.vtp")
        for number in range(1, self.last + 1):
            grid = self.check_vtr(self.folder / f"m & m_{number:03}.vtr",
                                  model_of(self.folder, number), nodes())
        # A hidden cell reaches above the lowest ground of its column, a shown one does not.
        for cell in range(grid.GetNumberOfCells()):
            west, east, south, north, _, top = bounds_of(grid, cell)
            lowest = min(ground(x, y) for x in (west, east) for y in (south, north))
            self.assertEqual(grid.IsCellVisible(cell), top <= lowest + 1e-6)
        sets = xml.etree.ElementTree.parse(self.folder / "m & m.pvd").findall(".//DataSet")
        self.assertEqual([(s.get("timestep"), s.get("part"), s.get("file")) for s in sets],
                         [(str(number), part, f"m & m_{number:03}.{kind}")
                          for number in range(1, self.last + 1)
                          for part, kind in (("0", "vtr"), ("1", "vtp"))])

    def test_core_leaves_out_the_padding(self):
        self.export("run.inp", "--core", "--vtr", "c.vtr", "--netcdf", "c.nc", "--csv", "c.csv")
        expected = model_of(self.folder, self.last)[CORE]
        e, n, z = nodes()
        self.check_vtr(self.folder / "c.vtr", expected, (e[2:7], n[1:5], z))
        self.check_netcdf(self.folder / "c.nc", expected, (e[2:7], n[1:5], z))
        self.check_csv(self.folder / "c.csv", expected, (e[2:7], n[1:5], z))

    def check_netcdf(self, path, expected, faces):
        with netCDF4.Dataset(path) as file:
            model = file["susceptibility"]
            self.assertEqual(model.dimensions, ("elevation", "northing", "easting"))
            values = model[:].transpose(2, 1, 0)
            np.testing.assert_array_equal(np.ma.getmaskarray(values), np.isnan(expected))
            np.testing.assert_array_equal(values.filled(np.nan), expected.astype(np.float32))
            for name, face in zip(("easting", "northing", "elevation"), faces):
                np.testing.assert_allclose(file[name][:], (face[1:] + face[:-1]) / 2, rtol=1e-12)
                np.testing.assert_allclose(file[file[name].bounds][:],
                                           np.stack([face[:-1], face[1:]], axis=1), rtol=1e-12)

    def test_netcdf(self):
        self.export(str(self.folder / "run.inp"), "--iteration", "2", "--netcdf", "m.nc")
        self.check_netcdf(self.folder / "m.nc", model_of(self.folder, 2), nodes())
        head = subprocess.run(["ncdump", "-hs", str(self.folder / "m.nc")], check=True,
                              capture_output=True, text=True).stdout
        for text in (
                'susceptibility:_FillValue = 9.96921e+36f', 'susceptibility:units = "1"',
                'easting:standard_name = "projection_x_coordinate"', 'easting:axis = "X"',
                'northing:standard_name = "projection_y_coordinate"', 'northing:axis = "Y"',
                'elevation:positive = "up"', 'elevation:bounds = "elevation_bounds"',
                'northing:units = "m"', ':Conventions = "CF-1.8"', ':_Format = "netCDF-4"',
                'iteration 2 of run.inp"', ':iteration = 2 ;'):
            self.assertIn(text, head)
        self.assertNotIn(str(self.folder), head)

    def check_csv(self, path, expected, faces):
        rows = rows_of(path)
        self.assertEqual(len(rows), expected.size)
        for row in rows:
            place = [float(row[name]) for name in ("easting", "northing", "elevation")]
            at = tuple(np.searchsorted(f, p) - 1 for f, p in zip(faces, place))
            np.testing.assert_allclose(place, [(f[i] + f[i + 1]) / 2 for f, i in zip(faces, at)])
            np.testing.assert_allclose(
                [float(row[name]) for name in ("width_easting", "width_northing", "thickness")],
                [f[i + 1] - f[i] for f, i in zip(faces, at)])
            value = row["susceptibility"]
            np.testing.assert_equal(float(value or "nan"), expected[at])

    def test_csv_of_the_model(self):
        expected = model_of(self.folder, self.last)
        self.export("run.inp", "--csv", "m.csv")
        self.check_csv(self.folder / "m.csv", expected, nodes())
        self.export("run.inp", "--csv", "ground.csv", "--no-air")
        self.assertEqual(rows_of(self.folder / "ground.csv"),
                         [row for row in rows_of(self.folder / "m.csv") if row["susceptibility"]])

    def test_data(self):
        """In the order of the observations; residual is observed - predicted."""
        self.export("run.inp", "--iteration", "2", "--points", "d.vtp", "--data-csv", "d.csv")
        observed, predicted = data_of(self.folder, 2)
        self.assertGreater(np.abs(observed[:, 3] - predicted).max(), 1.0)
        residual = observed[:, 3] - predicted
        expected = {
            "datum": np.arange(1, len(predicted) + 1), "observed": observed[:, 3],
            "standard_deviation": observed[:, 4], "predicted": predicted, "residual": residual,
            "normalised_residual": residual / observed[:, 4]}
        points = read_vtk(vtkXMLPolyDataReader(), self.folder / "d.vtp")
        self.assertEqual(points.GetNumberOfVerts(), len(predicted))
        places = [points.GetCell(at).GetPoints().GetPoint(0) for at in range(len(predicted))]
        np.testing.assert_allclose(places, observed[:, :3], rtol=1e-12)
        rows = rows_of(self.folder / "d.csv")
        np.testing.assert_allclose(
            [[float(row[name]) for name in ("easting", "northing", "elevation")] for row in rows],
            observed[:, :3], rtol=1e-11)
        for name, values in expected.items():
            array = points.GetPointData().GetArray(name)
            np.testing.assert_allclose([array.GetValue(at) for at in range(len(values))], values,
                                       rtol=1e-9, atol=1e-9, err_msg=name)
            np.testing.assert_allclose([float(row[name]) for row in rows], values, rtol=1e-6,
                                       atol=1e-6, err_msg=name)

    def test_folder_of_the_run(self):
        """Beside the input file, unless the current folder has the run."""
        with tempfile.TemporaryDirectory() as elsewhere:
            other = pathlib.Path(elsewhere)
            name = str(self.folder / "run.inp")
            self.export(name, "--csv", "m.csv", cwd=other)
            self.check_csv(other / "m.csv", model_of(self.folder, self.last), nodes())
            (other / "moved.inp").write_text((self.folder / "run.inp").read_text())
            self.export(str(other / "moved.inp"), "--csv", "moved.csv")
            self.assertEqual(rows_of(self.folder / "moved.csv"), rows_of(other / "m.csv"))
            self.assertIn("no run of moved.inp is here",
                          self.export("moved.inp", "--csv", "m.csv", status=1, cwd=other))

    def test_refusals(self):
        (self.folder / "link").symlink_to("x")
        before = sorted(self.folder.iterdir())
        for options, text in (
                (["--csv", "x", "--vtr", "link"], "two outputs have the name"),
                ([], "nothing to write"),
                (["--iteration", "99", "--csv", "x.csv"], f"no iteration 99; its iterations are 1 to {self.last}"),
                (["--iteration", "2nd", "--csv", "x.csv"], "should be a number, last or all"),
                (["--csv", "x", "--vtr", "./x"], "two outputs have the name"),
                (["--csv", "obs.mag"], "would replace a file that is read"),
                (["--data-csv", "quorivex_001.pre"], "would replace"),
                (["--iteration", "all", "--csv", "quorivex.sus"], "would replace"),
                (["--vtr", "no/such/folder.vtr"], "ERROR writing file no/such/folder.vtr"),
                (["--netcdf", "no/such/folder.nc"], "ERROR writing file no/such/folder.nc")):
            self.assertIn(text, self.export("run.inp", *options, status=1))
        self.assertEqual(sorted(self.folder.iterdir()), before)

    def test_hostile_names_stay_text(self):
        """Markup, formulas and line breaks in names of files and lines, in every output."""
        with tempfile.TemporaryDirectory() as elsewhere:
            other = pathlib.Path(elsewhere)
            shutil.copytree(self.folder, other, dirs_exist_ok=True)
            hostile = "=1+1 </script><script>alert(1)</script> \"'&]]>-->{{payload}}.inp"
            hostile = hostile.replace("/", "\u2215")  # no file can have a slash in its name
            markup = "</script><img src=x onerror=alert(1)>-->]]>\"'&amp;{{payload}}"
            heads, data = self.lines_of("obs.mag")
            labels = ["=HYPERLINK(\"http://x\",1)", "@x", "+1-1", "-5.5", "=cmd|' /C x'!A", markup]
            (other / "obs.mag").write_text("! labels of the data: line\n" + "\n".join(
                heads + [f"{row} ! {labels[min(at, 5)]}" for at, row in enumerate(data)]) + "\n")
            (other / "run.inp").rename(other / hostile)
            subprocess.run([QUORIVEX, hostile, "1"], cwd=other, check=True, capture_output=True,
                           timeout=120)
            self.export(hostile, "--data-csv", "d.csv", "--netcdf", "m.nc", cwd=other)
            names = [row["line"] for row in rows_of(other / "d.csv")]
            self.assertEqual(names[:6], ["'" + labels[0], "'@x", "'+1-1", "-5.5", "'" + labels[4],
                                         markup])
            with netCDF4.Dataset(other / "m.nc") as file:
                self.assertTrue(file.title.endswith(f"of {hostile}"))
            self.export(hostile, "--iteration", "all", "--vtr", "a&\"<'\n.vtr", cwd=other)
            collection = xml.etree.ElementTree.parse(other / "a&\"<'\n.pvd")
            for entry in collection.iter("DataSet"):
                self.assertTrue((other / entry.get("file")).exists(), entry.get("file"))
            subprocess.run([QVX, "report", hostile, "--output", "p.html"], cwd=other, check=True,
                           capture_output=True, timeout=120)
            subprocess.run([QVX, "report", "run.inp", "--output", "p.html"], cwd=self.folder,
                           check=True, capture_output=True, timeout=120)
            page, plain = Page(other / "p.html"), Page(self.folder / "p.html")
            self.assertEqual(page.elements - {("td", ""), ("th", "scope")},
                             plain.elements - {("td", ""), ("th", "scope")})
            self.assertTrue(hostile in page.text and markup in page.text)

    def lines_of(self, name):
        """The three lines above the data and those of the data, without comments."""
        lines = [line for line in (self.folder / name).read_text().splitlines()
                 if not line.startswith("!")]
        return lines[:3], lines[3:]

    @unittest.skipIf("OMP_TOOL_LIBRARIES" in os.environ, "clang's OpenMP has a file of its own")
    def test_a_full_disk_leaves_no_file(self):
        for option, limit in (("--netcdf", 8), ("--vtr", 1), ("--csv", 2)):
            run = subprocess.run(["sh", "-c", f'ulimit -f {limit}; exec "$0" "$@"', QVX, "export",
                                  "run.inp", option, "full"], cwd=self.folder, capture_output=True,
                                 text=True, timeout=120)
            self.assertEqual(run.returncode, 1, option)
            self.assertIn("ERROR writing file full", run.stderr)
            self.assertFalse(list(self.folder.glob("full*")), option)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
