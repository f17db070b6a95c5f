NAME small model FREE
OBJSENSE
    MAX
OBJNAME
 PROFIT
ROWS
 N OTHER
 N PROFIT
 L cap
 G need
 E balance
COLUMNS
 x PROFIT 3 cap 1 need 1
 x OTHER 4
 M 'MARKER' 'INTORG'
 y PROFIT 2.5 cap 2
 z cap 1 balance -1
 b balance 1
 M 'MARKER' 'INTEND'
 s PROFIT -1e-3 balance 1
 t PROFIT 0
RHS
 cap 100 need 1e-17
 RHS PROFIT -5
RANGES
 RNG cap 1e30
 need .5
BOUNDS
 UP BND y 9
 MI z
 UP z -2
 BV b 1
 SC BND s 40
 LO BND s 2
 SI BND t 7
ENDATA
