# Every command of the README. Each installs what is missing first (packaging/install-deps), so that it works on a fresh
# Debian 12; set QRN_NO_INSTALL=1 to leave the machine's packages alone.
JOBS ?= $(shell nproc)
