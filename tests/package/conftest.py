"""Settings of the tests of the package."""

from hypothesis import HealthCheck, settings

# A busy machine is no reason to fail: time is measured by the benchmarks.
settings.register_profile("package", deadline=None, suppress_health_check=[HealthCheck.too_slow])
settings.load_profile("package")
