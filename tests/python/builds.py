"""What kind of build the tests run against, for the few checks that depend on it."""
import os

import libcore

# Sanitizer builds make no type stubs: their modules load only with those runtimes
# preloaded, which the stub generator's interpreter has not.
HAS_STUBS = os.path.isfile(os.path.join(os.path.dirname(os.path.abspath(libcore.__file__)), "libcore.pyi"))
