"""What a build needs to know of the Python that runs this: the folders of its headers and of numpy's,
and how the names of its modules end."""

import sysconfig

import numpy

print(sysconfig.get_path("include"), numpy.get_include(), sysconfig.get_config_var("EXT_SUFFIX"), sep=";")
