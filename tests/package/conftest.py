"""Settings of the tests of the package."""

import sys
from pathlib import Path

from hypothesis import HealthCheck, settings

# The servers are scripts too, and import each other by their names alone.
sys.path.append(str(Path(__file__).parents[1] / "support"))

# A busy machine is no reason to fail: time is measured by the benchmarks.
settings.register_profile("package", deadline=None, suppress_health_check=[HealthCheck.too_slow])
settings.load_profile("package")
