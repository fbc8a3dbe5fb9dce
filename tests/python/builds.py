"""What kind of build the tests run against, for the few checks that depend on it."""
import os

import libcore

# The sanitizer runtimes are preloaded into the interpreter (make test-sanitize). Some
# reproducers limit the address space, which stops ASan itself.
UNDER_SANITIZERS = "libasan" in os.environ.get("LD_PRELOAD", "")

# Sanitizer builds make no type stubs: their modules load only with those runtimes
# preloaded, which the stub generator's interpreter has not.
HAS_STUBS = os.path.isfile(os.path.join(os.path.dirname(os.path.abspath(libcore.__file__)), "libcore.pyi"))
