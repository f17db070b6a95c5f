* Dialect: encoded names
* Dialect: exact numbers
NAME  FREE
ROWS
 N %_obj
 L a%20row
 L %_c2
 G R
 G R%_c4
 L 50%25
COLUMNS
 %24x %_obj 1 a%20row 1
 %_x2 %_obj 1e+40 R 1
 caf%c3%a9 R%_c4 1 %_c2 3
 V 50%25 1
RHS
 RHS %_obj 0 50%25 1e+40
 RHS R -1e+35
RANGES
 RNG 50%25 2e+40
 RNG a%20row 3.7000000000000000001
BOUNDS
 UP BND %24x 1e+30
 SC BND V inf
ENDATA
