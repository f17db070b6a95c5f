* A workshop plans a month: how many chairs, tables and shelves should it make to earn the most?
*
* Each piece earns money and takes wood (planks), work (hours) and lacquer (litres), of which there
* is only so much. Five tables are ordered and must be made; more than thirty shelves cannot be
* sold. Parts of a piece are finished in the next month, so the numbers need not be whole.
*
*   maximize    45 chairs + 80 tables + 32 shelves
*   wood         5 chairs + 20 tables +  7 shelves  <= 460
*   work        10 chairs + 15 tables +  5 shelves  <= 450
*   lacquer      1 chairs +  2 tables +  1 shelves  <=  70
*   5 <= tables,  shelves <= 30
*
* Optimum: 2410
NAME          WORKSHOP
OBJSENSE
    MAX
ROWS
 N  earnings
 L  wood
 L  work
 L  lacquer
COLUMNS
    chairs    earnings          45.0   wood               5.0
    chairs    work              10.0   lacquer            1.0
    tables    earnings          80.0   wood              20.0
    tables    work              15.0   lacquer            2.0
    shelves   earnings          32.0   wood               7.0
    shelves   work               5.0   lacquer            1.0
RHS
    month     wood             460.0   work             450.0
    month     lacquer           70.0
BOUNDS
 LO month     tables             5.0
 UP month     shelves           30.0
ENDATA
