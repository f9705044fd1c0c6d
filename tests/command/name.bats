# kxcert name.
setup() { load support; }

@test "name: parsed, compared" { play name; }
