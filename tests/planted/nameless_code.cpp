// Code that belongs to no named function.
asm(".text\n\tvfmadd231ps %ymm0, %ymm1, %ymm2\n\tret");
