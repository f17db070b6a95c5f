Model status
Optimal

# Primal solution values
Feasible
Objective 24.5
# Columns 4
a&b 1
x2 1e-3
x3 -3
x4 1
# Rows 2
c2 17.5
c2_ 2

# Dual solution values
None
# Basis
HiGHS v1
None
