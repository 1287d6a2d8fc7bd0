"""Frames through chains: the same bits as the program's, whatever way they take."""

import collections
import itertools
import logging
import os
import pickle
import signal
import threading
import time
import unittest
from concurrent.futures import ThreadPoolExecutor

import data
import numpy as np
import ombrel

TYPES = ["i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f4", "f8"]


def frames_of(dtype):
    """Counts with zeros, and with the values by which detectors mark pixels."""
    frames = data.counts(4, 3, 90).clip(0, 120).astype(dtype)
    frames[:, 5, 7] = 0
    if dtype in ("i4", "u4", "i8", "u8"):
        frames[1, 20, 30] = np.iinfo(dtype).max
    if dtype == "f8":
        frames[2, 3, 4] = np.nan
    return frames


class ChainTest(data.Case):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        ombrel.flat_field("data/flats.h5", bad="ff").save("ff.xml")
        data.write("data/half.h5", data.counts(5, 4, 6000), time=0.5)
        ombrel.beam_hardening({0: "data/flats.h5", 0.5: "data/half.h5"}).save("bh.xml")
        rows = ["v,t,e,file"]
        for v in (20, 30):
            for t in (1, 2):
                for e in (5, 6):
                    path = f"data/{v}-{t}-{e}.h5"
                    data.write(path, data.counts(v + t + e, 2, 50 * v + 300 * t + 100 * e))
                    rows.append(f"{v},{t},{e},{path}")
        with open("grid.csv", "w") as grid:
            grid.write("\n".join(rows) + "\n")
        ombrel.adaptive("grid.csv", normalise=True).save("aff.xml")
        cls.chains = [[("Flat-Field", "ff.xml"), ("Binning 2x2", None)], [("Beam-hardening", "bh.xml")],
                      [("AdaptiveFF", "aff.xml")]]

    def chain_of(self, links, **more):
        return ombrel.Chain(*(ombrel.load(name, path) if path else name for name, path in links), **more)

    def corrected_by_program(self, links, *options, source="frames.h5"):
        filters = [text for name, path in links for text in ("-f", f"{name}={path}" if path else name)]
        data.program("run", *filters, *options, "--output-type", "f64", source, "-o", "out.h5", "--force", "-q")
        return data.output_of("out.h5")

    def test_same_bits_as_the_program_for_every_filter_and_type(self):
        for dtype in TYPES:
            data.write("frames.h5", frames_of(dtype), time=0.25)
            scan = ombrel.open("frames.h5")
            self.assertEqual(scan.dtype, np.dtype(dtype))
            for links in self.chains:
                with self.subTest(dtype=dtype, links=links):
                    if dtype == "f8" and links[0][0] == "AdaptiveFF":  # it refuses frames with NaN
                        data.write("frames.h5", np.nan_to_num(frames_of(dtype)), time=0.25)
                        scan = ombrel.open("frames.h5")
                    expected = self.corrected_by_program(links)
                    chain = self.chain_of(links)
                    self.assertSame(np.array([chain(scan[i], time=scan.time(i)) for i in range(3)]), expected)
                    self.assertSame(np.array(list(chain.map(scan, jobs=2))), expected)
                    ombrel.run(chain, scan, "run.h5", output_type="f64", force=True)
                    self.assertSame(data.output_of("run.h5"), expected)

    def test_mask_and_time_of_the_scan(self):
        mask = np.zeros((data.HEIGHT, data.WIDTH), np.uint32)
        mask[10:12, 20] = 1
        data.write("frames.h5", data.counts(6, 2, 900, np.uint32), time=0.25, mask=mask)
        scan = ombrel.open("frames.h5")
        self.assertSame(scan.mask, mask)
        for links in self.chains[:2]:
            chain = self.chain_of(links)
            with_mask = self.corrected_by_program(links)
            self.assertSame(np.array(list(chain.map(scan))), with_mask)
            self.assertSame(self.chain_of(links, mask=mask != 0)(scan[0], time=0.25), with_mask[0])
            without = self.corrected_by_program(links, "--device-mask", "none")
            self.assertSame(chain(scan[0], time=0.25), without[0])
            ombrel.run(self.chain_of(links, mask=mask), scan, "run.h5", output_type="f64", force=True)
            self.assertSame(data.output_of("run.h5"), with_mask)

    def test_filters_with_a_memory_see_the_frames_in_order(self):
        ombrel.beam_hardening({0: "data/flats.h5", 0.5: "data/half.h5"}, zero_as_bad=True).save("memory.xml")
        frames = data.counts(7, 5, 8000)
        frames[0, 9, 9] = 65535  # brighter than the open beam
        data.write("frames.h5", frames, time=0.5)
        links = [("Beam-hardening", "memory.xml")]
        scan = ombrel.open("frames.h5")
        chain = self.chain_of(links)
        expected = self.corrected_by_program(links)
        self.assertSame(np.array(list(chain.map(scan[2:], jobs=2))), expected[2:])
        self.assertSame(np.array([chain(scan[i], time=0.5) for i in range(5)]), expected)
        with self.assertRaisesRegex(ValueError, "carries state"):
            chain.dask(scan)

    def test_arrays_are_read_in_place_and_written_in_place(self):
        chain = self.chain_of([("Flat-Field", "ff.xml")])
        for dtype in TYPES:
            x = frames_of(dtype)[0]
            x.flags.writeable = False
            before = x.copy()
            y = chain(x)
            out = np.full(x.shape, -1.0)
            self.assertIs(chain(x, out=out), out)
            self.assertSame(out, y)
            self.assertSame(x, before)
            strided = np.repeat(x, 2, axis=1)[:, ::2]
            self.assertSame(chain(strided), y)
            self.assertSame(chain(x.astype(x.dtype.newbyteorder(">"))), y)
        for links in self.chains:
            chain = self.chain_of(links)
            x = frames_of("u2")[0]
            memory = np.full((data.HEIGHT + 2, data.WIDTH), -1.0)
            self.assertSame(chain(x, time=0.25, out=memory[1:-1]), chain(x, time=0.25))
            self.assertTrue((memory[[0, -1]] == -1).all(), links)
        chain = self.chain_of([("Flat-Field", "ff.xml")])
        x = frames_of("f8")[0]
        expected = chain(x)
        self.assertSame(chain(x, out=x), expected)
        kept = chain(expected)
        del chain
        self.assertTrue(np.isfinite(kept[20]).all())  # outlives its chain

    def test_odd_sizes_of_lent_frames(self):
        x = np.arange(15.0).reshape(3, 5)
        data.write("odd.h5", x[np.newaxis])
        expected = self.corrected_by_program([("Binning 2x2", None)], source="odd.h5")
        self.assertSame(ombrel.Chain("Binning 2x2")(x), expected[0])
        memory = np.full((5, 5), -1.0)
        self.assertSame(ombrel.Chain("Binning 2x2")(x, out=memory[1:-1]), expected[0])
        self.assertTrue((memory[[0, -1]] == -1).all())

    def test_threads_share_a_chain(self):
        chain = self.chain_of(self.chains[0])
        frames = data.counts(8, 40, 500)
        expected = [chain(frame) for frame in frames]
        with ThreadPoolExecutor(4) as pool:
            for got, wanted in zip(pool.map(chain, frames), expected):
                self.assertSame(got, wanted)

    def test_wrong_arguments_are_named(self):
        chain = self.chain_of([("Flat-Field", "ff.xml")])
        x = data.counts(9, 1, 100)[0]
        for error, text, call in [
                (ValueError, r"x has the shape \(2, 48, 64\) and the type uint16", lambda: chain(np.array([x, x]))),
                (ValueError, r"x has the shape \(3, 3\) and the type float64", lambda: chain(np.zeros((3, 3)))),
                (TypeError, r"x has the shape \(48, 64\) and the type complex128", lambda: chain(x * 1j)),
                (TypeError, "x is .*NoneType", lambda: chain(None)),
                (ValueError, "x is not an array of pixels", lambda: chain([[1], [1, 2]])),
                (TypeError, "time is 'a', not a number of seconds", lambda: chain(x, time="a")),
                (TypeError, "params is list", lambda: ombrel.Chain("Binning 2x2", params=["a"])),
                (ValueError, r"out has the shape \(2, 2\)", lambda: chain(x, out=np.zeros((2, 2)))),
                (TypeError, "out has .* float32", lambda: chain(x, out=np.zeros(x.shape, "f4"))),
                (ValueError, "mask has the shape .* it masks all",
                 lambda: ombrel.Chain("Binning 2x2", mask=np.ones((3, 3), bool))),
                (ValueError, "filters.0. is 'Nothing'", lambda: ombrel.Chain("Nothing")),
                (TypeError, "scan is ndarray", lambda: chain.map(x)),
                (ValueError, "jobs is 0", lambda: chain.map(ombrel.open("data/frames.h5"), jobs=0)),
                (ValueError, "unknown parameter", lambda: ombrel.Chain("Binning 2x2", params={"Binning 2x2:No": 1})(x)),
        ]:
            with self.subTest(text), self.assertRaisesRegex(error, text):
                call()

    def test_failed_frames_name_filter_and_index(self):
        data.write("frames.h5", data.counts(10, 3, 100, shape=(4, 4)))
        scan = ombrel.open("frames.h5")
        chain = ombrel.Chain("Flat-Field")
        with self.assertRaisesRegex(ombrel.FrameError, "Flat-Field: No flat-field coefficients") as caught:
            chain(scan[0])
        self.assertIsNone(caught.exception.index)
        frames = chain.map(scan)
        for index in range(3):
            with self.assertRaises(ombrel.FrameError) as caught:
                next(frames)
            self.assertEqual(caught.exception.index, index)
        self.assertRaises(StopIteration, next, frames)
        again = pickle.loads(pickle.dumps(caught.exception))
        self.assertEqual((again.index, again.reason), (2, caught.exception.reason))

    def test_map_ends_with_its_consumer_and_with_an_interrupt(self):
        chain = ombrel.Chain("Binning 2x2")
        frames = chain.map(ombrel.open("data/frames.h5"), jobs=2)
        next(frames)
        del frames  # joins threads that wait for a consumer

        total = 50_000
        data.write("long.h5", np.zeros((total, 2, 2), np.uint8))
        taken = itertools.count()

        def interrupt():
            while repr(taken) == "count(0)":
                time.sleep(0)
            os.kill(os.getpid(), signal.SIGINT)

        thread = threading.Thread(target=interrupt)
        thread.start()
        with self.assertRaises(KeyboardInterrupt):
            # Without a step of the interpreter between the frames.
            collections.deque(zip(taken, chain.map(ombrel.open("long.h5"))), maxlen=1)
        thread.join()
        self.assertLess(next(taken), total)

    def test_log_lines_and_silent_filters(self):
        with self.assertLogs("ombrel", logging.WARNING) as logs:
            ombrel.run(ombrel.Chain(ombrel.flat_field("data/flats.h5")), ombrel.open("data/frames.h5"), "log.h5")
        self.assertTrue(any("zero pixels are not found" in line for line in logs.output))

    def test_chains_are_pickled_by_their_settings(self):
        scan = ombrel.open("data/frames.h5")
        saved = self.chain_of(self.chains[0])
        saved(scan[0])
        self.assertLess(len(pickle.dumps(saved)), 5000)  # a table of coefficients has 24 KB
        unsaved = ombrel.Chain(ombrel.flat_field("data/flats.h5"), mask=np.eye(48, 64, dtype=bool))
        for chain in (saved, unsaved):
            self.assertSame(pickle.loads(pickle.dumps(chain))(scan[1]), chain(scan[1]))
        with self.assertRaisesRegex(ValueError, "save it"):
            pickle.dumps(ombrel.adaptive("grid.csv"))


if __name__ == "__main__":
    unittest.main()
