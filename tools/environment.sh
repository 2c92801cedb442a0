# SPDX-License-Identifier: MIT
# Sourced by the scripts in the root folder: lets clones in different folders share compiled files.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
