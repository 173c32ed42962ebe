<!-- table.js -->
