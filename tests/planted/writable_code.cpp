// A section that is writable and executable.
asm(".section .writable_code, \"awx\", @progbits\n\tret\n\t.text");
