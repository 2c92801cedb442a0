#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The tour of the program vn, which the caller has put into the PATH.
set -euo pipefail

vn help
