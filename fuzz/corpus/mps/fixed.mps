* names with blanks, in fixed columns
NAME          BLEND
ROWS
 N  COST
 L  OIL ONE
 G  R2
 E  R3
COLUMNS
    COL A     COST               1.5   OIL ONE             2.
    COL A     R3                  1.
    M1        'MARKER'                 'INTORG'
    COL B     COST               -1.   R2                  1.
    COL B     R3                 3.0
    M2        'MARKER'                 'INTEND'
RHS
    RHS       COST               -7.   OIL ONE            10.
    RHS       R2                  1.   R3                  4.
RANGES
    RNG       OIL ONE             3.   R3                 -2.
BOUNDS
 UP BND       COL A               9.
 LO BND       COL B              -1.
ENDATA
