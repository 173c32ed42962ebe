<!-- chart.js -->
