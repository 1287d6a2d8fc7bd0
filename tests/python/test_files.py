"""Scans, calibrations and runs."""

import os
import pickle
import signal
import unittest

import data
import numpy as np
import ombrel


class ScanTest(data.Case):
    def test_roles_parts_and_arrays(self):
        samples, flats, darks = data.counts(1, 5, 100), data.counts(2, 4, 1000), data.counts(3, 3, 5)
        scan = ombrel.open(data.write_marked("marked.h5", samples, flats, darks))
        self.assertEqual((len(scan), scan.shape, scan.dtype), (5, (5, 48, 64), np.dtype("u2")))
        for got, wanted in ((scan, samples), (scan.flats, flats), (scan.darks, darks), (scan[1:4], samples[1:4]),
                            (pickle.loads(pickle.dumps(scan[1:4]))[1:], samples[2:4])):
            self.assertSame(np.asarray(got), wanted)
        self.assertSame(scan[-1], samples[4])
        self.assertRaises(IndexError, lambda: scan[5])
        self.assertRaises(ValueError, lambda: scan[::2])
        self.assertIsNone(scan.mask)
        self.assertIsNone(ombrel.open("data/frames.h5").flats)
        self.assertEqual(ombrel.open("data/frames.h5").time(3), 0.5)
        with self.assertRaisesRegex(ombrel.Error, "none.h5"):
            ombrel.open("none.h5")

    def test_files_that_vanish_give_one_error(self):
        data.write("a.h5", data.counts(1, 1, 100))
        for number in range(9):  # more than stay open
            data.write(f"b{number}.h5", data.counts(1, 1, 100))
        scan = ombrel.open(["a.h5"] + [f"b{number}.h5" for number in range(9)])
        os.unlink("a.h5")
        with self.assertRaisesRegex(ombrel.Error, "a.h5: cannot be opened"):
            scan[0]
        with self.assertRaises(ombrel.FrameError) as caught:
            next(ombrel.Chain("Binning 2x2").map(scan))
        self.assertEqual(caught.exception.index, 0)


class CalibrationTest(data.Case):
    def test_flat_field_of_some_frames_is_the_program_s(self):
        flats = data.counts(2, 6, 1000)
        flats[:, 3, 4] = 1  # the coefficient is extreme
        flats[5] //= 4
        scan = ombrel.open(data.write("f.h5", flats, time=1.0))
        ff = ombrel.flat_field(scan[1:], bad="ff", keep_all=True)
        data.program("calibrate", "flat-field", "f.h5", "--bad", "ff", "--keep-all", "--only", "1-5", "-o", "p.xml")
        program = ombrel.load("Flat-Field", "p.xml")
        self.assertSame(ff.coefficients.ravel(), program.coefficients)
        self.assertEqual(ff.level, program.level)
        self.assertEqual(np.argwhere(ff.bad).tolist(), [[3, 4]])
        self.assertFalse(ff.coefficients.flags.writeable)
        self.assertEqual(ff.inspection.good.tolist(), [True] * 4 + [False])
        self.assertEqual(program.inspection.good.tolist(), ff.inspection.good.tolist())
        with self.assertRaisesRegex(ValueError, "bad is 'all'"):
            ombrel.flat_field(scan, bad="all")
        with self.assertRaisesRegex(TypeError, "flats is int"):
            ombrel.flat_field(3)
        with self.assertRaisesRegex(TypeError, "levellimit"):
            ombrel.flat_field(scan, levellimit=3)

    def test_saved_files_replace_and_last(self):
        ff = ombrel.flat_field("data/flats.h5")
        temporary = ff.path
        self.assertIs(ff.save("ff.xml"), ff)
        self.assertFalse(os.path.exists(temporary))
        self.assertSame(ombrel.load("Flat-Field", "ff.xml").coefficients, ff.coefficients.ravel())
        self.assertRaises(ValueError, ff.save, "ff.txt")
        self.assertRaises(ValueError, ombrel.load, "Nothing", "ff.xml")
        self.assertRaises(ombrel.Error, ombrel.load, "Flat-Field", "none.xml")
        self.assertRaises(AttributeError, lambda: ombrel.load("AdaptiveFF", "ff.xml").coefficients)

    def test_bad_pixels_and_inspection(self):
        flats = data.counts(2, 20, 1000)
        flats[:, 3, 4] = 0
        flats[7] //= 2
        data.write("f.h5", flats)
        self.assertEqual(np.flatnonzero(~ombrel.inspect("f.h5").good).tolist(), [7])
        data.write("good.h5", np.delete(flats, 7, axis=0))
        mask = ombrel.bad_pixels("good.h5")
        self.assertTrue(mask.bad[3, 4])
        self.assertIn("dead", mask.counts)
        mask.save("mask.h5")
        data.program("calibrate", "bad-pixels", "good.h5", "-o", "program.h5")
        x = flats[0]
        chain = ombrel.Chain(ombrel.flat_field("data/flats.h5", bad="ff"), mask=mask)
        self.assertGreater(chain(x)[3, 4], 500)  # filled


class RunTest(data.Case):
    def setUp(self):
        self.scan = ombrel.open("data/frames.h5")
        self.chain = ombrel.Chain(ombrel.flat_field("data/flats.h5"), "Binning 2x2")

    def test_rows_describe_the_output(self):
        result = ombrel.run(self.chain, self.scan[1:5], "rows.h5", output_type="f64")
        written = data.output_of("rows.h5")
        self.assertEqual(result.frames["frame"].tolist(), [1, 2, 3, 4])
        np.testing.assert_allclose(result.frames["output_mean"], written.mean(axis=(1, 2)))
        self.assertEqual(len(set(result.frames["output_hash"])), 4)
        self.assertFalse(result.frames["failed"].any())
        self.assertTrue(os.path.exists("rows.1.Flat-Field.xml"))

    def test_an_interrupted_run_resumes(self):
        def interrupt(done, total):
            signal.raise_signal(signal.SIGINT)

        with self.assertRaises(KeyboardInterrupt):
            ombrel.run(self.chain, self.scan, "cut.h5", jobs=1, progress=interrupt)
        calls = []
        again = ombrel.Chain(ombrel.flat_field("data/flats.h5"), "Binning 2x2")
        result = ombrel.run(again, self.scan, "cut.h5", resume=True, progress=lambda *call: calls.append(call))
        self.assertEqual((len(result.frames), calls[-1]), (6, (6, 6)))
        self.assertSame(data.output_of("cut.h5"), np.array(list(self.chain.map(self.scan)), np.float32))
        other = ombrel.Chain(ombrel.flat_field("data/flats.h5", bad="ff"), "Binning 2x2")
        with self.assertRaisesRegex(ValueError, "differs from .*cut.1.Flat-Field.xml"):
            ombrel.run(other, self.scan, "cut.h5", resume=True)

    def test_failures_and_refusals(self):
        small = ombrel.open(data.write("small.h5", data.counts(1, 2, 9, shape=(4, 4))))
        with self.assertRaisesRegex(ombrel.FrameError, "No flat-field coefficients"):
            ombrel.run(ombrel.Chain("Flat-Field"), small, "none.h5")
        self.assertFalse(os.path.exists("none.h5"))
        ombrel.run(self.chain, self.scan, "there.h5")
        for text, call in (
                ("there.h5 exists", lambda: ombrel.run(self.chain, self.scan, "there.h5")),
                ("must end in", lambda: ombrel.run(self.chain, self.scan, "there.png")),
                ("level_region is 'abc'", lambda: ombrel.run(self.chain, self.scan, "new.h5", level_region="abc")),
                ("part_frames", lambda: ombrel.run(self.chain, self.scan, "new.h5", part_frames=3)),
                ("output_type", lambda: ombrel.run(self.chain, self.scan, "new.h5", output_type="f16"))):
            with self.subTest(text), self.assertRaisesRegex(ValueError, text):
                call()
        for text, call in (
                ("output is NoneType", lambda: ombrel.run(self.chain, self.scan, None)),
                ("resume is 'no'", lambda: ombrel.run(self.chain, self.scan, "new.h5", resume="no")),
                ("client is int", lambda: ombrel.run(self.chain, self.scan, "new.h5", client=3)),
                ("mask is 3", lambda: ombrel.flat_field(self.scan, mask=3)),
                ("masks has the key 'a'", lambda: ombrel.beam_hardening({"a": self.scan}))):
            with self.subTest(text), self.assertRaisesRegex(TypeError, text):
                call()


class DarkTest(data.Case):
    """Dark fields and quantities, as by the program."""

    def setUp(self):
        pattern = np.arange(data.HEIGHT * data.WIDTH).reshape(data.HEIGHT, data.WIDTH) % 50
        samples, flats = data.counts(1, 3, 500) + pattern, data.counts(2, 6, 9000) + pattern
        data.write_marked("marked.h5", samples, flats, data.counts(3, 4, 20) + pattern)
        data.write("darks.h5", data.counts(4, 4, 30) + pattern)
        self.scan = ombrel.open("marked.h5")

    def corrected_by_program(self, settings, *options):
        data.program("run", "-f", f"Flat-Field={settings}", *options, "--output-type", "f64", "marked.h5", "-o", "p.h5",
                     "--force", "-q")
        return data.output_of("p.h5")

    def test_calibrations_carry_the_dark(self):
        for option, dark in (("auto", "auto"), ("none", "none"), ("darks.h5", "darks.h5"), ("auto", self.scan.darks)):
            with self.subTest(option):
                ff = ombrel.flat_field(self.scan.flats, bad="ff", dark=dark).save("ff.xml")
                data.program("calibrate", "flat-field", "marked.h5", "--bad", "ff", "--dark", option, "--force", "-o",
                             "p.xml")
                self.assertSame(ff.coefficients.ravel(), ombrel.load("Flat-Field", "p.xml").coefficients)
                expected = self.corrected_by_program("p.xml")
                chain = ombrel.Chain(ff)
                self.assertSame(np.array([chain(x) for x in self.scan]), expected)
                self.assertSame(np.array(list(chain.map(self.scan, jobs=2))), expected)
                ombrel.run(chain, self.scan, "run.h5", output_type="f64", force=True)
                self.assertSame(data.output_of("run.h5"), expected)
        with self.assertRaisesRegex(ValueError, "48 x 64 pixels, but the dark of the calibration has 64 x 48"):
            ombrel.Chain(ombrel.flat_field(self.scan.flats))(np.zeros((data.WIDTH, data.HEIGHT)))

    def test_darks_and_quantities_of_runs(self):
        chain = ombrel.Chain(ombrel.flat_field(self.scan.flats, bad="ff").save("ff.xml"))
        for options, more in ((("--dark", "none"), {"dark": "none"}), (("--dark", "darks.h5"), {"dark": "darks.h5"}),
                              (("--quantity", "transmission"), {"quantity": "transmission"}),
                              (("--quantity", "attenuation", "--level-region", "1,2,30,20"),
                               {"quantity": "attenuation", "level_region": (1, 2, 30, 20)})):
            with self.subTest(options):
                result = ombrel.run(chain, self.scan, "run.h5", output_type="f64", force=True, **more)
                self.assertSame(data.output_of("run.h5"), self.corrected_by_program("ff.xml", *options))
                self.assertEqual(np.isnan(result.frames["level"]).all(), "quantity" not in more)
        for error, text, more in ((ValueError, "quantity is 'counts2'", {"quantity": "counts2"}),
                                  (ValueError, "level_region is", {"level_region": (1, 2)}),
                                  (TypeError, "dark is int", {"dark": 3}),
                                  (ValueError, "dark is a part of a scan", {"dark": self.scan.darks[1:]})):
            with self.subTest(text), self.assertRaisesRegex(error, text):
                ombrel.run(chain, self.scan, "new.h5", **more)


if __name__ == "__main__":
    unittest.main()
