* Two products on two machines: the optimum is -11 at X = 3, Y = 1.
NAME          TWOPRODUCTS
ROWS
 N  COST
 L  MACHINE1
 L  MACHINE2
COLUMNS
    X         COST              -3.0   MACHINE1           1.0
    X         MACHINE2           1.0
    Y         COST              -2.0   MACHINE1           1.0
    Y         MACHINE2           3.0
RHS
    RHS       MACHINE1           4.0   MACHINE2           6.0
BOUNDS
 UP BND       X                  3.0
ENDATA
