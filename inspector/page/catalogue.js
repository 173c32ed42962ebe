<!-- catalogue.js -->
