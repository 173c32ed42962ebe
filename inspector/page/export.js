<!-- export.js -->
