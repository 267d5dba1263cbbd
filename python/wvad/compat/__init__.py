# SPDX-License-Identifier: Apache-2.0
"""Look-alikes of other detectors: their calls over this one."""
