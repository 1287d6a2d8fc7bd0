"""Chains on Dask: the same bits, and a run that survives the death of a worker."""

import os
import signal
import unittest

import data
import numpy as np
import ombrel

try:
    import dask
    import distributed
except ImportError:
    distributed = None


@unittest.skipIf(distributed is None, "python3-distributed is not installed")
class DaskTest(data.Case):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        mask = np.zeros((data.HEIGHT, data.WIDTH), np.uint32)
        mask[5, 6] = 1
        data.write("scan.h5", data.counts(4, 24, 500), time=0.5, mask=mask)
        cls.scan = ombrel.open("scan.h5")
        cls.chain = ombrel.Chain(ombrel.flat_field("data/flats.h5", bad="ff"), "Binning 2x2")
        dask.config.set({"distributed.worker.daemon": True})
        cls.cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None)
        cls.client = distributed.Client(cls.cluster)

    @classmethod
    def tearDownClass(cls):
        cls.client.close()
        cls.cluster.close()
        super().tearDownClass()

    def test_lazy_frames_have_the_bits_of_map(self):
        expected = np.array(list(self.chain.map(self.scan[2:9])))
        lazy = self.chain.dask(self.scan[2:9], frames=3)
        self.assertEqual((lazy.shape, lazy.chunks[0]), ((7, 48, 64), (3, 3, 1)))
        self.assertSame(lazy.compute(scheduler="threads"), expected)
        self.assertSame(self.client.compute(lazy).result(), expected)
        self.assertRaises(ValueError, self.chain.dask, self.scan, frames=0)
        small = ombrel.open(data.write("small.h5", data.counts(1, 2, 9, shape=(4, 4))))
        with self.assertRaises(ombrel.FrameError) as caught:
            ombrel.Chain("Flat-Field").dask(small)[1].compute(scheduler="threads")
        self.assertEqual(caught.exception.index, 1)

    def test_a_killed_worker_costs_its_part_only(self):
        alone = ombrel.run(self.chain, self.scan, "alone.h5", output_type="f64")
        workers = [worker["pid"] for worker in self.client.run(_identity).values()]
        killed = []

        def kill_one(done, total):
            if not killed:
                killed.append(workers[0])
                os.kill(workers[0], signal.SIGKILL)

        result = ombrel.run(self.chain, self.scan, "parts.h5", output_type="f64", client=self.client, part_frames=2,
                            progress=kill_one)
        self.assertEqual(len(killed), 1)
        self.assertSame(data.output_of("parts.h5"), data.output_of("alone.h5"))
        for column in ("frame", "failed", "input_hash", "output_hash", "output_mean"):
            self.assertSame(result.frames[column], alone.frames[column])

        times = {name: os.stat(f"parts.parts/{name}").st_mtime_ns for name in os.listdir("parts.parts")}
        ombrel.run(self.chain, self.scan, "parts.h5", output_type="f64", client=self.client, part_frames=2,
                   resume=True)
        self.assertEqual(times, {name: os.stat(f"parts.parts/{name}").st_mtime_ns for name in times})
        with self.assertRaisesRegex(ValueError, "part_frames is 0"):
            ombrel.run(self.chain, self.scan, "new.h5", client=self.client, part_frames=0)
        with self.assertRaisesRegex(ValueError, "parts are merged"):
            ombrel.run(self.chain, self.scan, "new.tif", client=self.client)


def _identity():
    return {"pid": os.getpid()}


if __name__ == "__main__":
    unittest.main()
