"""A silent patch with real processes, from the command line to the installed file."""
import shutil
import subprocess

from platformtest import PlatformTest, main

PRODUCT = "青石排版"  # its patch is 3.1.0.2
FOLDER = "bin/apps/bluestone/"


class SilentPatch(PlatformTest):
    def silent(self, *arguments):
        result = self.session.tarnctl("upgrade", "silent", *arguments)
        return result.returncode, result.stdout + result.stderr

    def test_running_products_are_refused_or_ended(self):
        self.session.write(FOLDER + "installation.ini",
                           f"[General]\nSoftwareName={PRODUCT}\nVersion=3.1.0\nExeName=bluestone-sample\n")
        path = self.session.path(FOLDER + "bluestone-sample")
        shutil.copy("/bin/sleep", path)
        program = subprocess.Popen([path, "600"])
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        code, said = self.silent(PRODUCT)
        self.assertEqual(code, 1)
        self.assertIn("the product is running", said)
        # The online-upgrade window, which installs finished downloads, is open meanwhile.
        self.session.run("upgrade", "start", "远帆仿真")
        self.assertNotIn(b"3.1.0.2", self.session.read(FOLDER + "installation.ini"))
        self.assertIsNone(program.poll())
        self.assertEqual(self.silent("--kill-running", PRODUCT),
                         (0, "shown: yes\nstate of the window: 1\ninstalled: 3.1.0.2\n"))
        program.wait(30)
        self.assertIn(b"PatchVersion=3.1.0.2", self.session.read(FOLDER + "installation.ini"))
        self.assertTrue(self.session.read(FOLDER + "bluestone-patch-3.1.0.2.version"))
        self.session.run("status")  # though its only window has closed


if __name__ == "__main__":
    main()
