"""The package as it was built, which VESK_PACKAGE names the folder of."""

import os
import sys

sys.path.insert(0, os.environ["VESK_PACKAGE"])
sys.dont_write_bytecode = True
