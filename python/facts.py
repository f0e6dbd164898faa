"""What a build needs to know of the Python that runs this: the folders of its headers and of numpy's,
how the names of its modules end, and its version."""

import sysconfig

import numpy

print(
    sysconfig.get_path("include"),
    numpy.get_include(),
    sysconfig.get_config_var("EXT_SUFFIX"),
    sysconfig.get_config_var("py_version_short"),
    sep=";",
)
