NAME          LOGIC
ROWS
 N  COST
 L  ROW ONE
COLUMNS
    X 1       COST               1.0   ROW ONE            1.0
    X 2       COST              -1.0   ROW ONE            1.0
    B         COST               0.0
RHS
    RHS       ROW ONE            4.0
BOUNDS
 UP BND       X 1                3.0
 UP BND       X 2                3.0
 BV BND       B
SOS
 S1 SOS       SET 1              1.0
    X 1                          1.0
    X 2                          2.0
INDICATORS
 IF ROW ONE   B         1
ENDATA
