"""The package as users meet it: its examples, its types, its notebook and its reader for napari."""

import doctest
import importlib.metadata
import importlib.util
import os
import pkgutil
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

import data
import numpy as np
import ombrel
import ombrel.napari_reader

PACKAGE = Path(ombrel.__file__).parent
NOTEBOOK = Path(__file__).parents[2] / "docs" / "python.ipynb"


class PackageTest(data.Case):
    def test_examples(self):
        for module in pkgutil.iter_modules([str(PACKAGE)], "ombrel."):
            if module.name not in ("ombrel._ombrel", "ombrel.clusters", "ombrel.napari_reader"):
                failed = doctest.testmod(importlib.import_module(module.name), extraglobs={"ombrel": ombrel})
                self.assertEqual(failed.failed, 0, module.name)
        self.assertEqual(doctest.testmod(ombrel, extraglobs={"ombrel": ombrel}).failed, 0)

    def test_metadata(self):
        self.assertEqual(importlib.metadata.version("ombrel"), ombrel.__version__)
        [manifest] = importlib.metadata.entry_points(group="napari.manifest", name="ombrel")
        self.assertEqual(manifest.value, "ombrel:napari.yaml")

    def test_all_public_names_are_documented(self):
        for name in ombrel.__all__:
            self.assertTrue(getattr(ombrel, name).__doc__, name)

    @unittest.skipUnless(shutil.which("mypy"), "mypy is not installed")
    def test_types(self):
        Path("use.py").write_text("import ombrel\nimport numpy as np\n"
                                  "y: np.ndarray = ombrel.Chain('Binning 2x2')(np.zeros((2, 2)))\n"
                                  "n: int = len(ombrel.open('a.h5'))\n")
        for arguments in (["-p", "ombrel"], ["use.py"]):
            self.assertEqual(self.mypy(*arguments), (0, ""))
        Path("misuse.py").write_text("import ombrel\nombrel.open('a.h5').time('first')\n")
        self.assertIn("incompatible type", self.mypy("misuse.py")[1])

    def mypy(self, *arguments):
        done = subprocess.run(["mypy", "--no-error-summary", "--ignore-missing-imports", "--cache-dir", "mypy",
                               *arguments], capture_output=True, text=True,
                              env={**os.environ, "MYPYPATH": str(PACKAGE.parent)})
        return done.returncode, done.stdout + done.stderr

    @unittest.skipUnless(importlib.util.find_spec("nbconvert") and importlib.util.find_spec("matplotlib"),
                         "python3-nbconvert or python3-matplotlib is not installed")
    def test_notebook(self):
        path = os.path.dirname(data.PROGRAM) + os.pathsep + os.environ["PATH"]
        shutil.copy(NOTEBOOK, "python.ipynb")
        done = subprocess.run([sys.executable, "-m", "nbconvert", "--to", "notebook", "--execute", "--output",
                               "done.ipynb", "python.ipynb"], capture_output=True, text=True,
                              env={**os.environ, "PATH": path})
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertGreaterEqual(Path("done.ipynb").read_text().count('"image/png"'), 2)

    def test_napari_reader(self):
        mask = np.zeros((data.HEIGHT, data.WIDTH), np.uint32)
        mask[1, 2] = 1
        frames = data.counts(1, 4, 100)
        data.write("masked.h5", frames, mask=mask)
        reader = ombrel.napari_reader.get_reader("masked.h5")
        (images, _, kind), (labels, _, other) = reader("masked.h5")
        self.assertEqual((kind, other), ("image", "labels"))
        self.assertSame(np.asarray(images[1:3]), frames[1:3])
        self.assertSame(labels, mask)
        Path("notes.txt").write_text("nothing to see")
        self.assertIsNone(ombrel.napari_reader.get_reader("notes.txt"))
        manifest = (PACKAGE / "napari.yaml").read_text()
        module, function = manifest.split("python_name: ")[1].split()[0].split(":")
        self.assertTrue(callable(getattr(importlib.import_module(module), function)))


if __name__ == "__main__":
    unittest.main()
