# Install rules follow with the package.
