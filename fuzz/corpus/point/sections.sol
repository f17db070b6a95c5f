Model status
Optimal

# Primal solution values
Feasible
Objective 24.5
# Columns 3
a&b 1
x2 1e-3
x3 -3
# Rows 2
row 17.5
c2 2

# Dual solution values
None
# Basis
HiGHS v1
None
