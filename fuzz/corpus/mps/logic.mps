NAME logic
ROWS
 N obj
 L i1
 E i2
 L c1
COLUMNS
 x1 obj 2 i1 1
 x1 i2 -1 c1 1
 x2 obj 3 i1 1
 x2 c1 1
 x3 obj 1 i2 1
 x3 c1 1
 M 'MARKER' 'INTORG'
 b obj -5
 S1 c1 1
 M 'MARKER' 'INTEND'
RHS
 RHS i1 3 i2 1
 RHS c1 9
RANGES
 RNG i1 4
BOUNDS
 UP BND x1 4
 UP BND x2 4
 UP BND x3 4
SOS
 S1 SOS s1 1
 x1 1
 x2 2
 x3 3
 s2 t
 SOS x3 2.5
 x1 -1
 S1 0.5
INDICATORS
 IF i1 b 1
 IF i2 S1 0
ENDATA
