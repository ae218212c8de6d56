"""A host package whose diagnostics module fails while BROKEN is "1" (frame_scenarios)."""
import pkgutil

__path__ = pkgutil.extend_path(__path__, __name__)
