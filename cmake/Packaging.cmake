# Installation layout and the Debian package.
